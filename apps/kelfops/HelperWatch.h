#pragma once

#include <functional>

#include "base/os/ProcessMonitor.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/time/Timer.h"

class HelperProcess;

/// Notices in the loop that the helper has ended, even if another process still holds its end of the link open.
///
/// Ownership: a local variable of the program; observes the helper. Thread: the loop's.
class HelperWatch final : private os::ProcessMonitor::Callback,
                          private plat::Timer::Callback,
                          private plat::NonCopyable {
public:
  /// @param ended called once, from the loop, a moment after the helper's end: what it sent before has been read then.
  HelperWatch(HelperProcess& helper, std::function<void()> ended);

private:
  void processExited(int status) override;
  bool timerFired(plat::Timer& timer) override;

  HelperProcess& helper_;
  std::function<void()> ended_;
  plat::Timer graceTimer_{this};
  os::ProcessMonitor monitor_;
};
