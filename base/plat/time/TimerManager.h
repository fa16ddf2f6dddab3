#pragma once

#include "base/plat/CircularVector.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/Time.h"

namespace plat {

class Timer;

/// A thread's timer queue: keeps the running timers by expiry and fires what is due. It does not wait; the thread's
/// event loop asks for the time to the next timer and calls processTimers().
///
/// Ownership: a member of the thread's event manager; observes its timers, which link themselves in.
/// Thread:    belongs to the thread that made it, and must be destroyed there; nothing locks.
/// Lifecycle: installs itself as the thread's current manager; the destructor stops all of its timers and brings the
///            manager before it back.
/// If the clock is found to have jumped (only a clock hook can say so), every timer starts anew from now.
class TimerManager : NonCopyable {
public:
  /// Learns the time to the first timer each time that it changes, so that a foreign loop can set its own alarm.
  class Listener {
  public:
    /// @param ms milliseconds to the first timer, -1 for none.
    virtual void timeToFirstChanged(int ms) = 0;

  protected:
    ~Listener() = default;
  };

  /// @param nested allows the thread to have a manager already, which rests until this one is gone.
  /// @throws AssertionFail "nested || !thrInst"
  explicit TimerManager(bool nested = false);
  virtual ~TimerManager();

  /// The calling thread's manager, null if there is none.
  static TimerManager* current() noexcept;

  /// Fires every timer that is due, in order of expiry. A periodic timer keeps its rhythm while it is on time and
  /// skips the beats that it missed: it never fires twice to catch up. What a callback starts waits for the next
  /// call, even at 0 ms. If a callback throws, the timers behind it stay due for the next call.
  /// @return milliseconds to the first timer if none was due, -1 if there is none at all, 0 after firing.
  int processTimers();

  /// Milliseconds to the first timer, rounded up, at most 2147483647; 0 if it is due, -1 if there is none.
  int timeToNext();
  /// The same against a reading of the clock that the caller has already.
  int timeToNext(FileTime now) const noexcept;

  /// Observes; null for none.
  void setListener(Listener* newListener) noexcept { listener_ = newListener; }

private:
  friend class Timer;

  void start(Timer& timer, int ms);
  void stop(Timer& timer);

  FileTime checkTime(bool* restarted = nullptr);
  void restartAll(FileTime now);
  void insert(Timer& timer) noexcept;
  void unlink(Timer& timer) noexcept;
  void removeFromDue(const Timer& timer) noexcept;
  void takeDue(FileTime now);
  void fire(Timer& timer);
  void putBackDue() noexcept;
  void tellListener();

  TimerManager* previous_;
  Timer* first_ = nullptr;  // by rising expiry; equal ones in starting order
  Timer* last_ = nullptr;
  CircularVector<Timer*> due_;  // taken from the list, to be fired one by one
  Listener* listener_ = nullptr;
};

}  // namespace plat
