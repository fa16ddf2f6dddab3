#include "base/os/detachedChildren.h"

#include <cerrno>
#include <csignal>
#include <vector>

#include "base/io/FdManager.h"
#include "base/os/SignalHandler.h"
#include "base/os/childExit.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"

namespace os {

namespace {

/// @return false if there is nothing left to wait for.
bool stillRuns(pid_t pid, plat::LogSrc& log) {
  int status = 0;
  const Reaped reaped = reapChild(pid, "<detached>", false, status, log);
  if (reaped == Reaped::Failed) {
    const plat::SystemException failure(nullptr, errno);
    log.error("waitpid(%lu) detached: %s", static_cast<unsigned long>(pid), plat::ExceptionText(failure).get());
  }
  return reaped == Reaped::Running;
}

/// The pids of detached children, each of which is waited for once it has ended.
///
/// Ownership: one for the process, made with the first detached child of a thread that has an event manager.
/// Lifecycle: listens to SIGCHLD while it has children; those that outlive this process go on without it.
class PidManager final : private SignalHandler::Callback, plat::NonCopyable {
public:
  explicit PidManager(plat::LogSrc& logSrc) : log_(logSrc) {
    SignalHandler::instance();  // which so goes after this one
  }
  ~PidManager() override { listen(false); }

  void add(pid_t pid) {
    listen(true);
    pids_.push_back(pid);
    signalled(SIGCHLD);  // it may have ended before anybody listened
  }

private:
  void signalled(int) override {
    std::erase_if(pids_, [this](pid_t pid) { return !stillRuns(pid, log_); });
    listen(!pids_.empty());
  }

  void listen(bool on) {
    if (on != listening_) {
      SignalHandler::instance().setHandler(SIGCHLD, this, on);
      listening_ = on;
    }
  }

  plat::LogSrc& log_;
  std::vector<pid_t> pids_;
  bool listening_ = false;
};

}  // namespace

void leaveToPidManager(pid_t pid, plat::LogSrc& log) {
  if (io::FdManager::current() == nullptr) {
    stillRuns(pid, log);
    return;
  }
  static PidManager manager(log);
  manager.add(pid);
}

}  // namespace os
