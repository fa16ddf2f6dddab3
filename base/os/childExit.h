#pragma once

#include <sys/types.h>

namespace plat {
class LogSrc;
}  // namespace plat

namespace os {

/// Waiting for one child, and ending it. A status is the exit code, or the negative number of the signal that killed.

enum class Reaped { Running, Ended, Failed };

/// waitpid(2), through signals. A child that has ended is logged at level 100, unless its exit code was 0.
/// @param block wait for the end; else a child that still runs answers Running at once.
/// @param name for the log; null for unknown.
/// @return Failed with errno set, ECHILD if `pid` is no child or was waited for already.
Reaped reapChild(pid_t pid, const char* name, bool block, int& status, plat::LogSrc& log);

/// @param pid above 0: nobody else is meant by accident. @throws plat::SystemException "kill(%ld,%s)"
void killProcess(pid_t pid, int sig);
/// @return false on failure, with errno set.
bool killProcessNoThrow(pid_t pid, int sig) noexcept;

}  // namespace os
