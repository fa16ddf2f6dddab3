#pragma once

#include <vector>

#include "base/os/SignalHandler.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/time/Timer.h"

namespace os {
class AppLoop;
}

/// While it lives, a signal that would end the program ends the loop instead, with HelperFailed: temporary files go
/// with their writers. Signals that were ignored before, as SIGHUP is under nohup, stay so.
///
/// Ownership: a local variable of the program; observes the loop, which must outlive it. Thread: the loop's.
class Interrupter final : private os::SignalHandler::Callback,
                          private plat::Timer::Callback,
                          private plat::NonCopyable {
public:
  explicit Interrupter(os::AppLoop& loop);
  ~Interrupter() override;

  /// Asked once the loop has ended. That may be because the helper got the signal too and was faster with cutting the
  /// link, so another turn of the loop looks for it.
  bool hasCome();

private:
  void signalled(int sig) override;
  bool timerFired(plat::Timer& timer) override;

  os::AppLoop& loop_;
  plat::Timer timer_;
  std::vector<int> handled_;
  bool hasCome_ = false;
};
