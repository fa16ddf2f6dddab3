#include "base/os/childExit.h"

#include <cerrno>
#include <csignal>

#include <sys/wait.h>

#include "base/os/signalName.h"
#include "base/plat/String.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"

namespace os {

namespace {

const char* orUnknown(const char* text) noexcept {
  return text != nullptr ? text : "<unknown>";
}

void logExit(pid_t pid, const char* name, int status, plat::LogSrc& log) {
  if (status < 0) {
    log.debug("child %lu (%s) exited with %s %s", static_cast<unsigned long>(pid), orUnknown(name), "signal",
              orUnknown(signalName(-status)));
  } else if (status > 0) {
    log.debug("child %lu (%s) exited with %s %s", static_cast<unsigned long>(pid), orUnknown(name), "status",
              plat::String::format("%d", status).get());
  }
}

}  // namespace

Reaped reapChild(pid_t pid, const char* name, bool block, int& status, plat::LogSrc& log) {
  int raw = 0;
  pid_t rv = 0;
  do {
    rv = ::waitpid(pid, &raw, block ? 0 : WNOHANG);
  } while (rv < 0 && errno == EINTR);
  if (rv <= 0) {
    return rv == 0 ? Reaped::Running : Reaped::Failed;
  }
  status = WIFSIGNALED(raw) ? -WTERMSIG(raw) : WEXITSTATUS(raw);
  logExit(pid, name, status, log);
  return Reaped::Ended;
}

void killProcess(pid_t pid, int sig) {
  if (!killProcessNoThrow(pid, sig)) {
    throw plat::SystemExceptionFmt("kill(%ld,%s)", errno, static_cast<long>(pid), orUnknown(signalName(sig)));
  }
}

bool killProcessNoThrow(pid_t pid, int sig) noexcept {
  if (pid <= 0) {
    errno = ESRCH;  // 0 and negative numbers would reach whole groups
    return false;
  }
  return ::kill(pid, sig) == 0;
}

}  // namespace os
