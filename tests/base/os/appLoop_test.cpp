#include "base/os/AppLoop.h"

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/plat/AssertionFail.h"
#include "base/plat/Timer.h"
#include "tests/support/thrown.h"

namespace {

using os::AppLoop;
using plat::AssertionFail;
using test::messageFrom;
using testing::HasSubstr;

/// Runs an action once, from the loop.
class Later : private plat::Timer::Callback {
public:
  explicit Later(std::function<void()> action) : action_(std::move(action)) { timer_.start(0); }

private:
  bool timerFired(plat::Timer&) override {
    action_();
    return false;
  }
  std::function<void()> action_;
  plat::Timer timer_{this};
};

TEST(AppLoop, runsAgainAfterItsEndAndAfterAnException) {
  AppLoop loop;
  for (int value : {0, 5}) {
    const Later quitter([value] { AppLoop::quit(value); });
    EXPECT_EQ(loop.run(), value);
  }
  const Later thrower([] { throw plat::Exception("from a timer"); });
  EXPECT_EQ(messageFrom([&] { loop.run(); }), "from a timer");
  EXPECT_THAT(messageFrom<AssertionFail>([] { AppLoop::quit(1); }), HasSubstr("'inst && inst->isRunning'"));
  const Later quitter([] { AppLoop::quit(7); });
  const Later second([] { AppLoop::quit(9); });
  EXPECT_EQ(loop.run(), 9) << "the last value counts, and the turn is finished";
}

TEST(AppLoop, refusesASecondLoopASecondRunAndQuittingNothing) {
  EXPECT_THAT(messageFrom<AssertionFail>([] { AppLoop::quit(1); }), HasSubstr("'inst && inst->isRunning'"));
  AppLoop loop;
  EXPECT_THAT(messageFrom<AssertionFail>([] { const AppLoop second; }), HasSubstr("'!inst'"));
  const Later again([&loop] {
    EXPECT_THAT(messageFrom<AssertionFail>([&loop] { loop.run(); }), HasSubstr("'!isRunning'"));
    AppLoop::quit(4);
  });
  EXPECT_EQ(loop.run(), 4) << "the first one is still there";
}

}  // namespace
