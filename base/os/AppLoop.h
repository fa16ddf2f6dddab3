#pragma once

#include <memory>

#include "base/plat/NonCopyable.h"

namespace os {

/// The process's main loop: runs the event manager until somebody asks it to end, and hands back an exit value.
///
/// Ownership: made by main's frame; at most one at a time. Another may be made after it.
/// Thread:    the main thread.
/// Lifecycle: construct, register signals and connections, run(), destroy. A loop may run again after it has ended.
class AppLoop : plat::NonCopyable {
public:
  /// What does the looping. Implemented by AppLoopImpl, and by hosts that bring an event loop of their own.
  class Impl {
  public:
    /// Loops until quit(). @return AppLoop::exitValue().
    virtual int run() = 0;
    /// Makes run() return once the turn under way is over.
    virtual void quit() = 0;
    virtual ~Impl();
  };

  /// @param impl null for the process-wide io::FdSelectManager.
  /// @throws plat::AssertionFail "!inst" while another exists
  explicit AppLoop(std::unique_ptr<Impl> impl = nullptr);
  virtual ~AppLoop();

  /// Starts the log's time and loops. @return the exit value.
  /// @throws plat::AssertionFail "!isRunning"; and what leaves the event manager: the loop may then be run again
  int run();

  /// Ends the running loop after its present turn; the last value given counts. Returns to its caller.
  /// @throws plat::AssertionFail "inst && inst->isRunning"
  static void quit(int exitValue);

  /// What quit() was last given.
  static int exitValue() noexcept;

private:
  static AppLoop* inst;

  std::unique_ptr<Impl> impl_;
  bool isRunning_ = false;
};

}  // namespace os
