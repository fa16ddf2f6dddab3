#include "base/plat/Timer.h"

#include <climits>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/TimerManager.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/ManualClock.h"
#include "tests/support/thrown.h"

namespace plat {
namespace {

using testing::ElementsAre;

// A timer with a name that writes itself down when it fires.
class NamedTimer : public Timer, private Timer::Callback {
public:
  using Action = std::function<bool(Timer&)>;
  NamedTimer(
      std::string name, std::vector<std::string>& log, Action action = [](Timer&) { return false; })
      : Timer(static_cast<Timer::Callback*>(this)), name_(std::move(name)), log_(log), action_(std::move(action)) {}

private:
  bool timerFired(Timer& timer) override {
    EXPECT_EQ(&timer, this);
    EXPECT_FALSE(timer.running());
    log_.push_back(name_);
    return action_(timer);
  }

  std::string name_;
  std::vector<std::string>& log_;
  Action action_;
};

class RecordingListener : public TimerManager::Listener {
public:
  void timeToFirstChanged(int ms) override { told.push_back(ms); }
  std::vector<int> told;
};

class TimerTest : public testing::Test {
protected:
  test::ManualClock clock;
  TimerManager manager;
  std::vector<std::string> fired;
};

TEST(Timer, needsAManagerOnItsThread) {
  std::vector<std::string> fired;
  NamedTimer timer("t", fired);
  EXPECT_THAT(test::messageFrom<AssertionFail>([&] { timer.start(1); }),
              testing::StartsWith("Assertion 'thrInst' failed at base/plat/TimerManager:"));
}

TEST_F(TimerTest, aSecondManagerMustSayThatItIsNestedAndStopsItsTimersAtItsEnd) {
  EXPECT_THROW(TimerManager{}, AssertionFail);
  NamedTimer timer("t", fired);
  {
    TimerManager nested(true);
    EXPECT_EQ(TimerManager::current(), &nested);
    timer.start(0);
  }
  EXPECT_EQ(TimerManager::current(), &manager);
  EXPECT_FALSE(timer.running());
  EXPECT_EQ(manager.processTimers(), -1);
}

TEST_F(TimerTest, fireByExpiryAndThenInStartingOrder) {
  NamedTimer a("a", fired), b("b", fired), c("c", fired), d("d", fired), e("e", fired), late("late", fired);
  a.start(30);
  b.start(10);
  c.start(30);
  d.start(10);
  e.start(0);
  late.start(31);
  b.start(10);  // afresh: behind d now
  clock.advanceMs(30);
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_THAT(fired, ElementsAre("e", "d", "b", "a", "c"));
  EXPECT_EQ(manager.processTimers(), 1);
  EXPECT_TRUE(late.running());
}

TEST_F(TimerTest, timeToTheFirstIsRoundedUpAndClamped) {
  EXPECT_EQ(manager.timeToNext(), -1);
  NamedTimer timer("t", fired);
  timer.start(5);
  clock.advanceTicks(1);
  EXPECT_EQ(manager.timeToNext(), 5);
  EXPECT_EQ(timer.remaining(), 5 * TicksPerMs - 1);
  clock.advanceTicks(4 * TicksPerMs);
  EXPECT_EQ(manager.processTimers(), 1);
  clock.advanceTicks(TicksPerMs - 2);  // one tick to go
  EXPECT_EQ(manager.processTimers(), 1);
  EXPECT_TRUE(fired.empty());
  clock.advanceTicks(1);
  EXPECT_EQ(manager.timeToNext(), 0);
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_EQ(fired.size(), 1u);
  timer.start(INT_MAX);
  EXPECT_EQ(manager.timeToNext(), INT_MAX);
  EXPECT_EQ(manager.timeToNext(clock.now() - TicksPerMs), INT_MAX);
}

TEST_F(TimerTest, aPeriodicTimerKeepsItsRhythmWhileOnTimeAndNeverCatchesUp) {
  NamedTimer timer("t", fired, [](Timer&) { return true; });
  timer.start(100);
  clock.advanceMs(130);  // 30 late: the next beat is still at 200
  manager.processTimers();
  EXPECT_EQ(manager.timeToNext(), 70);
  clock.advanceMs(70 + 350);  // 350 late: fires once, and then 100 from now
  manager.processTimers();
  EXPECT_EQ(fired.size(), 2u);
  EXPECT_EQ(manager.timeToNext(), 100);
  clock.advanceMs(200);  // exactly one beat late: that one lies not after now
  manager.processTimers();
  EXPECT_EQ(fired.size(), 3u);
  EXPECT_EQ(manager.timeToNext(), 100);
}

TEST_F(TimerTest, aCallbackDecidesAboutItsOwnTimer) {
  NamedTimer restarted("restarted", fired, [](Timer& timer) {
    timer.start(500);
    return true;
  });
  restarted.start(100);
  clock.advanceMs(100);
  manager.processTimers();
  EXPECT_EQ(manager.timeToNext(), 500) << "its own start counts, not the repeat";
  restarted.stop();
  EXPECT_EQ(manager.timeToNext(), -1) << "queued only once";

  NamedTimer stopped("stopped", fired, [](Timer& timer) {
    timer.stop();
    return true;
  });
  stopped.start(100);
  clock.advanceMs(100);
  manager.processTimers();
  EXPECT_TRUE(stopped.running()) << "idle already; the answer counts";
  EXPECT_EQ(manager.timeToNext(), 100);
}

TEST_F(TimerTest, aCallbackMayDestroyOrStopItsOwnTimerAndOthers) {
  NamedTimer stopped("stopped", fired), third("third", fired), queued("queued", fired);
  std::unique_ptr<NamedTimer> second;
  std::unique_ptr<NamedTimer> first = std::make_unique<NamedTimer>("first", fired, [&](Timer&) {
    second.reset();
    stopped.stop();
    queued.stop();
    first.reset();
    return false;
  });
  second = std::make_unique<NamedTimer>("second", fired);
  for (NamedTimer* timer : {first.get(), second.get(), &stopped, &third}) {
    timer->start(0);
  }
  queued.start(20);
  manager.processTimers();
  EXPECT_THAT(fired, ElementsAre("first", "third"));
  EXPECT_FALSE(stopped.running());
  EXPECT_EQ(manager.processTimers(), -1);
}

TEST_F(TimerTest, anExceptionLeavesTheRestDueAndWhatStartsAtZeroWaitsForTheNextTurn) {
  NamedTimer third("third", fired);
  NamedTimer thrower("thrower", fired, [](Timer&) -> bool { throw std::runtime_error("oops"); });
  NamedTimer second("second", fired, [&](Timer&) {
    third.start(0);
    return false;
  });
  thrower.start(1);
  second.start(1);
  clock.advanceMs(5);
  EXPECT_THROW(manager.processTimers(), std::runtime_error);
  EXPECT_FALSE(thrower.running());
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_THAT(fired, ElementsAre("thrower", "second"));
  manager.processTimers();
  EXPECT_THAT(fired, ElementsAre("thrower", "second", "third"));
}

TEST_F(TimerTest, theListenerIsToldWhenTheFirstChanges) {
  RecordingListener listener;
  manager.setListener(&listener);
  NamedTimer a("a", fired), b("b", fired), c("c", fired), repeating("r", fired, [](Timer&) { return true; });
  a.start(50);
  b.start(100);  // not the first
  c.start(10);
  EXPECT_THAT(listener.told, ElementsAre(50, 10));
  b.stop();
  c.stop();
  a.stop();
  EXPECT_THAT(listener.told, ElementsAre(50, 10, 50, -1));
  listener.told.clear();

  repeating.start(10);
  a.start(30);
  clock.advanceMs(10);
  manager.processTimers();
  EXPECT_THAT(listener.told, ElementsAre(10, 10)) << "once for the start, once at the end of the turn";
  manager.setListener(nullptr);
}

TEST_F(TimerTest, afterAJumpEveryTimerStartsAnewFromNow) {
  NamedTimer a("a", fired), b("b", fired), c("c", fired);
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
  clock.advanceMs(100);
  manager.processTimers();
  EXPECT_THAT(fired, ElementsAre("a", "c")) << "each with its own interval, in the order of the queue";
  EXPECT_EQ(manager.timeToNext(), 50);

  clock.jumpMs(-7'200'000);
  EXPECT_EQ(manager.timeToNext(), 150);
  EXPECT_THAT(log.lines(), ElementsAre("30 TimerManager: Time has moved backwards - restarting timers",
                                       "30 TimerManager: Time has jumped forwards - restarting timers"))
      << "forwards means that the limit is still above the reading";
}

TEST_F(TimerTest, aJumpWhileFiringMovesTheRepeatToo) {
  NamedTimer first("first", fired, [&](Timer&) {
    clock.jumpMs(-5'000);
    return true;
  });
  NamedTimer second("second", fired, [](Timer&) { return true; });
  first.start(100);
  second.start(40);
  first.start(100);
  clock.advanceMs(120);
  manager.processTimers();  // second, then first, which meets the jump
  EXPECT_THAT(fired, ElementsAre("second", "first"));
  EXPECT_EQ(first.remaining(), 100 * TicksPerMs);
  EXPECT_EQ(second.remaining(), 40 * TicksPerMs) << "queued again already, so restarted like the others";
}

}  // namespace
}  // namespace plat
