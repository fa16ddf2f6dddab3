#pragma once

#include <sys/types.h>

namespace plat {
class LogSrc;
}  // namespace plat

namespace os {

/// Leaves a child to the process-wide list that reaps detached children when SIGCHLD comes. Never waits. Where the
/// thread has no event manager nobody can learn of signals: there the child is looked at once and then left alone, to
/// be collected by the system when this process ends. Thread: the event loop's, or the only one. @param log must live
/// until the process ends.
void leaveToPidManager(pid_t pid, plat::LogSrc& log);

}  // namespace os
