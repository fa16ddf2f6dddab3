#pragma once

#include <sys/types.h>

#include "base/os/SignalHandler.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/time/Timer.h"

namespace os {

/// Watches one child from the event loop and tells its owner when it has ended, once. Does not end the child.
///
/// Ownership: a member of whoever watches; observes the callback and the owner's `pid`, which must both outlive it.
/// Thread:    the event loop's, whose manager must exist before it.
/// Lifecycle: watches from construction on; the destructor only ends the watching. What reaps the child is the monitor,
///            which sets `pid` to -1 then, so that nobody waits for it again; if the owner does that itself, the
///            monitor has nothing more to tell.
class ProcessMonitor final : private SignalHandler::Callback, private plat::Timer::Callback, plat::NonCopyable {
public:
  /// Learns of the end. Implemented by the child's owner.
  class Callback {
  public:
    /// Called from the event loop, never from the constructor. The monitor may be destroyed from here. A
    /// plat::Exception is logged.
    /// @param status the exit code, or the negative number of the signal that killed the child.
    virtual void processExited(int status) = 0;

  protected:
    ~Callback() = default;
  };

  /// @param childPid of a LaunchProcess, or any other variable that holds a child of this process.
  /// @param childName for the log; may be null.
  /// @throws plat::AssertionFail if the thread has no event manager
  ProcessMonitor(pid_t& childPid, const char* childName, Callback* callback);
  ~ProcessMonitor() override;

private:
  void signalled(int sig) override;
  bool timerFired(plat::Timer& timer) override;
  void check();
  void stop();

  pid_t& pid_;
  plat::String name_;
  Callback* callback_;
  plat::Timer timer_{this};
};

}  // namespace os
