#include "base/plat/time/Timer.h"

#include "base/plat/time/TimerManager.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

/// Writes itself down when it fires, and then does what it was told to.
struct Named final : Timer, Timer::Callback {
  Named(std::vector<std::string>& f, const char* n) : Timer(static_cast<Timer::Callback*>(this)), fired(f), name(n) {}
  bool timerFired(Timer& timer) override {
    EXPECT_TRUE(&timer == this && !running());
    fired.emplace_back(name);
    return action();
  }

  std::vector<std::string>& fired;
  const char* const name;
  std::function<bool()> action = [] { return false; };
};

class TimerTest : public testing::Test {
protected:
  /// One turn, `ms` later; gives the time to the next.
  int turnAfter(int ms) {
    clock.advanceMs(ms);
    return manager.processTimers();
  }
  static bool repeat() { return true; }

  ManualClock clock;
  TimerManager manager;
  std::vector<std::string> fired;
  Named a{fired, "a"}, b{fired, "b"}, c{fired, "c"}, d{fired, "d"};
};

TEST(TimerManager, isOnePerThreadUnlessNestedAndStopsItsTimersAtItsEnd) {
  Timer a(nullptr), b(nullptr);
  EXPECT_THAT(messageFrom<AssertionFail>([&] { a.start(1); }),
              StartsWith("Assertion 'thrInst' failed at base/plat/TimerManager:"));
  const TimerManager manager;
  EXPECT_THROW(TimerManager{}, AssertionFail);
  {
    const TimerManager nested(true);
    a.start(0);
    b.start(1);
  }
  EXPECT_EQ(TimerManager::current(), &manager);
  EXPECT_FALSE(a.running() || b.running());
}

TEST_F(TimerTest, fireByExpiryAndThenInStartingOrderAndTheTimeToTheFirstIsRoundedUp) {
  a.start(10);
  b.start(30);
  c.start(10);
  a.start(10);  // afresh: behind c now
  d.start(31);
  EXPECT_EQ(turnAfter(30), 0);
  EXPECT_THAT(fired, ElementsAre("c", "a", "b"));
  EXPECT_EQ(turnAfter(0), 1);
  d.stop();
  EXPECT_EQ(manager.timeToNext(), -1);

  a.start(5);
  clock.advanceTicks(1);
  EXPECT_EQ(manager.timeToNext(), 5);
  EXPECT_EQ(a.remaining(), 5 * TicksPerMs - 1);
  clock.advanceTicks(5 * TicksPerMs - 2);  // one tick to go
  EXPECT_EQ(manager.processTimers(), 1);
  clock.advanceTicks(1);
  EXPECT_EQ(manager.timeToNext(), 0);
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_THAT(fired, ElementsAre("c", "a", "b", "a"));
  a.start(INT_MAX);
  EXPECT_EQ(manager.timeToNext(clock.now() - TicksPerMs), INT_MAX);
}

TEST_F(TimerTest, aPeriodicTimerKeepsItsRhythmWhileOnTimeAndNeverCatchesUp) {
  a.action = repeat;
  a.start(100);
  for (const auto& [ms, toNext] : {std::pair(130, 70),  // 30 late: the next beat is still at 200
                                   {70 + 350, 100},     // far too late: fires once, and then 100 from now
                                   {200, 100}}) {       // exactly one beat late, which lies not after now
    turnAfter(ms);
    EXPECT_EQ(manager.timeToNext(), toNext);
  }
  EXPECT_EQ(fired.size(), 3u);
}

TEST_F(TimerTest, aCallbackDecidesAboutItsOwnTimer) {
  bool stopping = false;
  a.action = [&] {
    stopping ? a.stop() : a.start(500);
    return true;
  };
  a.start(100);
  turnAfter(100);
  EXPECT_EQ(manager.timeToNext(), 500) << "its own start counts, not the repeat";
  a.stop();
  EXPECT_EQ(manager.timeToNext(), -1) << "queued only once";
  stopping = true;
  a.start(100);
  turnAfter(100);
  EXPECT_EQ(manager.timeToNext(), 100) << "idle already when it was stopped; the answer counts";
}

TEST_F(TimerTest, aCallbackMayDestroyOrStopItsOwnTimerAndOthers) {
  auto first = std::make_unique<Named>(fired, "first"), second = std::make_unique<Named>(fired, "second");
  first->action = [&] {
    second.reset();
    a.stop();
    c.stop();
    first.reset();
    return false;
  };
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
  a.action = []() -> bool { throw std::runtime_error("oops"); };
  b.action = [&] {
    c.start(0);
    return false;
  };
  a.start(1);
  b.start(1);
  EXPECT_THROW(turnAfter(5), std::runtime_error);
  EXPECT_FALSE(a.running());
  EXPECT_EQ(manager.processTimers(), 0);
  EXPECT_THAT(fired, ElementsAre("a", "b"));
  manager.processTimers();
  EXPECT_THAT(fired, ElementsAre("a", "b", "c"));
}

TEST_F(TimerTest, theListenerIsToldWhenTheFirstChanges) {
  struct : TimerManager::Listener {
    void timeToFirstChanged(int ms) override { told.push_back(ms); }
    std::vector<int> told;
  } listener;
  manager.setListener(&listener);
  a.start(50);
  b.start(100);  // not the first
  c.start(10);
  b.stop();
  c.stop();
  a.stop();
  EXPECT_THAT(listener.told, ElementsAre(50, 10, 50, -1));
  listener.told.clear();
  d.action = repeat;
  d.start(10);
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

  RecordingDest log("TimerManager:rec:30");
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
