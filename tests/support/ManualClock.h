#pragma once

#include <functional>
#include <utility>

#include "base/plat/NonCopyable.h"
#include "base/plat/Time.h"
#include "base/plat/time/Timer.h"

namespace test {

/// Moves the monotonic clock by hand, for as long as it lives; it stands still in between. One at a time.
class ManualClock : private plat::NonCopyable {
public:
  ManualClock() {
    state() = {};
    plat::setMonoTimeHook(&ManualClock::read);
  }
  ~ManualClock() { plat::setMonoTimeHook(nullptr); }

  plat::FileTime now() const { return state().now; }
  void advanceMs(int ms) { state().now += ms * plat::TicksPerMs; }
  void advanceTicks(plat::FileTime ticks) { state().now += ticks; }

  /// The next reading is `ms` away and says that the clock has jumped.
  void jumpMs(int ms) {
    advanceMs(ms);
    state().jumped = true;
  }

  /// What the last reading was told to be the limit.
  plat::FileTime lastLimit() const { return state().limit; }

private:
  struct State {
    plat::FileTime now = 1'000'000;
    plat::FileTime limit = 0;
    bool jumped = false;
  };
  static State& state() {
    static State instance;
    return instance;
  }
  static plat::FileTime read(plat::FileTime limit, bool& jumped) {
    state().limit = limit;
    jumped = state().jumped;
    state().jumped = false;
    return state().now;
  }
};

/// Runs an action once from the loop, `ms` from now.
class Later : private plat::Timer::Callback {
public:
  explicit Later(std::function<void()> action, int ms = 0) : action_(std::move(action)) { timer_.start(ms); }

private:
  bool timerFired(plat::Timer&) override { return action_(), false; }

  std::function<void()> action_;
  plat::Timer timer_{this};
};

}  // namespace test
