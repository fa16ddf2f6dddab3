#include "base/os/ProcessMonitor.h"

#include <cerrno>
#include <csignal>

#include "base/os/childExit.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"

namespace os {

namespace {

plat::LogSrc log("ProcessMonitor");

constexpr int RecheckMs = 1000;  // for a signal that the full pipe of the signal handler has lost

}  // namespace

ProcessMonitor::ProcessMonitor(pid_t& childPid, const char* childName, Callback* owner)
    : pid_(childPid), name_(childName), callback_(owner) {
  timer_.start(0);  // the child may have ended before anybody listened
  SignalHandler::instance().setHandler(SIGCHLD, this, true);
}

ProcessMonitor::~ProcessMonitor() {
  stop();
}

void ProcessMonitor::stop() {
  if (callback_ != nullptr) {
    callback_ = nullptr;
    timer_.stop();
    SignalHandler::instance().setHandler(SIGCHLD, this, false);
  }
}

void ProcessMonitor::signalled(int) {
  check();
}

bool ProcessMonitor::timerFired(plat::Timer&) {
  // Ahead of the check, from which the owner may destroy this object.
  timer_.start(RecheckMs);
  check();
  return false;
}

/// The last thing that a caller does: the owner may destroy this object from its callback.
void ProcessMonitor::check() {
  if (pid_ < 0) {
    stop();
    return;
  }
  try {
    int status = 0;
    const Reaped reaped = reapChild(pid_, name_.get(), false, status, log);
    if (reaped == Reaped::Running) {
      return;
    }
    // Kept over what stop() does.
    const int error = errno;
    pid_ = -1;
    // Watching ends ahead of the call, which may destroy this object.
    Callback* const owner = callback_;
    stop();
    if (reaped == Reaped::Failed) {
      throw plat::SystemException("waitpid", error);
    }
    owner->processExited(status);
  } catch (const plat::Exception& e) {
    log.error("%s", plat::ExceptionText(e).get());
  }
}

}  // namespace os
