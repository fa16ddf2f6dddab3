#include "base/plat/time/Timer.h"

#include <climits>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/time/TimerManager.h"
#include "tests/support/ManualClock.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

using testing::ElementsAre;

class TimerTest : public testing::Test {
protected:
  /// A timer with a name that writes itself down when it fires.
  class Named : public Timer, private Timer::Callback {
  public:
    using Action = std::function<bool(Timer&)>;
    Named(TimerTest& test, std::string name, Action action = {})
        : Timer(static_cast<Timer::Callback*>(this)), test_(test), name_(std::move(name)), action_(std::move(action)) {}

  private:
    bool timerFired(Timer& timer) override {
      EXPECT_TRUE(&timer == this && !timer.running());
      test_.fired.push_back(name_);
      return action_ && action_(timer);
    }

    TimerTest& test_;
    std::string name_;
    Action action_;
  };

  /// One turn, `ms` later; gives the time to the next.
  int turnAfter(int ms) {
    clock.advanceMs(ms);
    return manager.processTimers();
  }
  static bool repeat(Timer&) { return true; }

  test::ManualClock clock;
  TimerManager manager;
  std::vector<std::string> fired;
  Named a{*this, "a"}, b{*this, "b"}, c{*this, "c"}, d{*this, "d"};
};

struct RecordingListener : TimerManager::Listener {
  void timeToFirstChanged(int ms) override { told.push_back(ms); }
  std::vector<int> told;
};

TEST(Timer, needsAManagerOnItsThread) {
  Timer timer(nullptr);
  EXPECT_THAT(test::messageFrom<AssertionFail>([&] { timer.start(1); }),
              testing::StartsWith("Assertion 'thrInst' failed at base/plat/TimerManager:"));
}

TEST_F(TimerTest, aSecondManagerMustSayThatItIsNestedAndStopsItsTimersAtItsEnd) {
  EXPECT_THROW(TimerManager{}, AssertionFail);
  {
    TimerManager nested(true);
    EXPECT_EQ(TimerManager::current(), &nested);
    a.start(0);
  }
  EXPECT_EQ(TimerManager::current(), &manager);
  EXPECT_FALSE(a.running());
  EXPECT_EQ(manager.processTimers(), -1);
}

TEST_F(TimerTest, fireByExpiryAndThenInStartingOrder) {
  Named late(*this, "late");
  a.start(30);
  b.start(10);
  c.start(30);
  d.start(10);
  late.start(31);
  b.start(10);  // afresh: behind d now
  EXPECT_EQ(turnAfter(30), 0);
  EXPECT_THAT(fired, ElementsAre("d", "b", "a", "c"));
  EXPECT_EQ(turnAfter(0), 1);
}

TEST_F(TimerTest, timeToTheFirstIsRoundedUpAndClamped) {
  EXPECT_EQ(manager.timeToNext(), -1);
  a.start(5);
  clock.advanceTicks(1);
  EXPECT_EQ(manager.timeToNext(), 5);
  EXPECT_EQ(a.remaining(), 5 * TicksPerMs - 1);
  clock.advanceTicks(5 * TicksPerMs - 2);  // one tick to go
  EXPECT_EQ(manager.processTimers(), 1);
  EXPECT_TRUE(fired.empty());
  clock.advanceTicks(1);
  EXPECT_EQ(manager.timeToNext(), 0);
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_EQ(fired.size(), 1u);
  a.start(INT_MAX);
  EXPECT_EQ(manager.timeToNext(), INT_MAX);
  EXPECT_EQ(manager.timeToNext(clock.now() - TicksPerMs), INT_MAX);
}

TEST_F(TimerTest, aPeriodicTimerKeepsItsRhythmWhileOnTimeAndNeverCatchesUp) {
  Named timer(*this, "t", repeat);
  timer.start(100);
  turnAfter(130);  // 30 late: the next beat is still at 200
  EXPECT_EQ(manager.timeToNext(), 70);
  for (const int ms : {70 + 350, 200}) {  // 350 late; exactly one beat late, which lies not after now
    turnAfter(ms);
    EXPECT_EQ(manager.timeToNext(), 100) << "fires once, and then 100 from now";
  }
  EXPECT_EQ(fired.size(), 3u);
}

TEST_F(TimerTest, aCallbackDecidesAboutItsOwnTimer) {
  Named restarted(*this, "restarted", [](Timer& timer) {
    timer.start(500);
    return true;
  });
  Named stopped(*this, "stopped", [](Timer& timer) {
    timer.stop();
    return true;
  });
  restarted.start(100);
  turnAfter(100);
  EXPECT_EQ(manager.timeToNext(), 500) << "its own start counts, not the repeat";
  restarted.stop();
  EXPECT_EQ(manager.timeToNext(), -1) << "queued only once";
  stopped.start(100);
  turnAfter(100);
  EXPECT_EQ(manager.timeToNext(), 100) << "idle already when it was stopped; the answer counts";
}

TEST_F(TimerTest, aCallbackMayDestroyOrStopItsOwnTimerAndOthers) {
  auto second = std::make_unique<Named>(*this, "second");
  std::unique_ptr<Named> first = std::make_unique<Named>(*this, "first", [&](Timer&) {
    second.reset();
    a.stop();
    c.stop();
    first.reset();
    return false;
  });
  for (Named* timer : {first.get(), second.get(), &a, &b}) {
    timer->start(0);
  }
  c.start(20);
  manager.processTimers();
  EXPECT_THAT(fired, ElementsAre("first", "b"));
  EXPECT_FALSE(a.running());
  EXPECT_EQ(manager.processTimers(), -1);
}

TEST_F(TimerTest, anExceptionLeavesTheRestDueAndWhatStartsAtZeroWaitsForTheNextTurn) {
  Named thrower(*this, "thrower", [](Timer&) -> bool { throw std::runtime_error("oops"); });
  Named starter(*this, "starter", [&](Timer&) {
    a.start(0);
    return false;
  });
  thrower.start(1);
  starter.start(1);
  EXPECT_THROW(turnAfter(5), std::runtime_error);
  EXPECT_FALSE(thrower.running());
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_THAT(fired, ElementsAre("thrower", "starter"));
  manager.processTimers();
  EXPECT_THAT(fired, ElementsAre("thrower", "starter", "a"));
}

TEST_F(TimerTest, theListenerIsToldWhenTheFirstChanges) {
  RecordingListener listener;
  manager.setListener(&listener);
  Named repeating(*this, "r", repeat);
  a.start(50);
  b.start(100);  // not the first
  c.start(10);
  b.stop();
  c.stop();
  a.stop();
  EXPECT_THAT(listener.told, ElementsAre(50, 10, 50, -1));
  listener.told.clear();
  repeating.start(10);
  a.start(30);
  turnAfter(10);
  EXPECT_THAT(listener.told, ElementsAre(10, 10)) << "once for the start, once at the end of the turn";
  manager.setListener(nullptr);
}

TEST_F(TimerTest, afterAJumpEveryTimerStartsAnewFromNow) {
  EXPECT_EQ(manager.timeToNext(), -1);
  a.start(100);
  EXPECT_EQ(clock.lastLimit(), -1) << "no timer yet, no limit";
  const FileTime expiry = clock.now() + 100 * TicksPerMs;
  b.start(150);
  EXPECT_EQ(clock.lastLimit(), expiry + 240 * TicksPerSecond);
  clock.advanceMs(60);
  c.start(100);  // in the queue: a 100, b 150, c 160

  test::RecordingDest log("TimerManager:rec:30");
  clock.jumpMs(3'600'000);
  EXPECT_EQ(manager.processTimers(), 100) << "nothing is due after a jump";
  turnAfter(100);
  EXPECT_THAT(fired, ElementsAre("a", "c")) << "each with its own interval, in the order of the queue";
  EXPECT_EQ(manager.timeToNext(), 50);
  clock.jumpMs(-7'200'000);
  EXPECT_EQ(manager.timeToNext(), 150);
  EXPECT_THAT(log.lines(), ElementsAre("30 TimerManager: Time has moved backwards - restarting timers",
                                       "30 TimerManager: Time has jumped forwards - restarting timers"))
      << "forwards means that the limit is still above the reading";
}

}  // namespace
}  // namespace plat
