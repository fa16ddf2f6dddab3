#pragma once

#include "base/os/AppLoop.h"

namespace io {
class FdSelectManager;
}  // namespace io

namespace os {

/// The main loop over an event manager: one turn after the other until told to stop.
/// Observes the manager, which must outlive it. The manager's thread only.
class AppLoopImpl final : public AppLoop::Impl {
public:
  /// @param manager must not be null if run() is to be called.
  explicit AppLoopImpl(io::FdSelectManager* manager) noexcept : fdManager_(manager) {}

  /// @throws what a turn of the manager lets out
  int run() override;
  void quit() override;

  /// The manager of the main thread: made on first use, destroyed at exit.
  static io::FdSelectManager& processManager();

private:
  io::FdSelectManager* fdManager_;
  bool stop_ = false;
};

}  // namespace os
