#pragma once

#include "base/plat/NonCopyable.h"
#include "base/plat/Time.h"

namespace plat {

class TimerManager;

/// One alarm on the thread's timer queue, once or at a steady rhythm.
///
/// Ownership: a member of whoever waits; observes the callback, which must outlive it.
/// Thread:    runs on the thread that starts it, whose TimerManager calls the callback from its loop; no locks.
/// Lifecycle: idle, started, idle again when stopped or fired; the destructor stops it. Must not be running when its
///            TimerManager's thread is not the one that stops or destroys it. Nothing here allocates.
class Timer : NonCopyable {
public:
  /// Learns that the time has come. Implemented by the timer's owner.
  class Callback {
  public:
    virtual ~Callback() = default;
    /// Called from TimerManager::processTimers. The timer is idle by then: it may be started again, and it may be
    /// destroyed if the answer is false. Any other timer may be started, stopped or destroyed.
    /// @return true to run again with the same interval.
    virtual bool timerFired(Timer& timer) = 0;
  };

  explicit Timer(Callback* callback) noexcept;
  ~Timer();

  /// Fires in `ms` milliseconds on the current thread; 0 is the thread's next processTimers. A running timer starts
  /// afresh. Among timers that are due at the same time, the first started fires first.
  /// @throws AssertionFail "thrInst" if the thread has no TimerManager.
  void start(int ms);

  /// No effect if idle. The callback is not called any more, not even for a timer that is due in the current turn.
  void stop();

  /// Ticks from now until it fires; negative if overdue. Only meaningful while running.
  FileTime remaining() const;

  bool running() const noexcept { return manager_ != nullptr; }

private:
  friend class TimerManager;

  Timer* next_ = nullptr;
  Timer* prev_ = nullptr;
  FileTime expiry_ = 0;  // on the monotonic clock
  int intervalMs_ = 0;
  Callback* callback_;
  TimerManager* manager_ = nullptr;  // null: idle
};

}  // namespace plat
