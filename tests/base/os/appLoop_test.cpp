#include "base/os/AppLoop.h"

#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "base/io/FdSelectManager.h"
#include "base/os/AppLoopImpl.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/Timer.h"

namespace {

using os::AppLoop;

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

template <class Action>
std::string failedAssertion(Action action) {
  try {
    action();
  } catch (const plat::AssertionFail& e) {
    return e.expression;
  }
  return "";
}

TEST(AppLoop, theLastValueGivenCountsAndTheTurnIsFinished) {
  AppLoop loop;
  bool laterCallRan = false;
  const Later first([] { AppLoop::quit(7); });
  const Later second([&] {
    laterCallRan = true;
    AppLoop::quit(3);
  });
  EXPECT_EQ(loop.run(), 3);
  EXPECT_TRUE(laterCallRan);
}

TEST(AppLoop, runsAgainAfterItsEndAndAfterAnException) {
  AppLoop loop;
  for (int value : {0, 5}) {
    const Later quitter([value] { AppLoop::quit(value); });
    EXPECT_EQ(loop.run(), value);
  }
  const Later thrower([] { throw plat::Exception("from a timer"); });
  EXPECT_THROW(loop.run(), plat::Exception);
  EXPECT_EQ(failedAssertion([] { AppLoop::quit(1); }), "inst && inst->isRunning");
  const Later quitter([] { AppLoop::quit(9); });
  EXPECT_EQ(loop.run(), 9);
}

TEST(AppLoop, refusesASecondLoopASecondRunAndQuittingNothing) {
  EXPECT_EQ(failedAssertion([] { AppLoop::quit(1); }), "inst && inst->isRunning");
  AppLoop loop;
  EXPECT_EQ(failedAssertion([] { AppLoop second; }), "!inst");
  EXPECT_EQ(failedAssertion([] { AppLoop::quit(1); }), "inst && inst->isRunning") << "the first one is still there";
  const Later again([&loop] {
    EXPECT_EQ(failedAssertion([&loop] { loop.run(); }), "!isRunning");
    AppLoop::quit(4);
  });
  EXPECT_EQ(loop.run(), 4);
}

TEST(AppLoop, theProcesssManagerOutlivesEveryLoop) {
  const io::FdManager* manager = nullptr;
  for (int i = 0; i < 2; ++i) {
    const AppLoop loop;
    if (manager == nullptr) {
      manager = io::FdManager::current();
    }
    EXPECT_EQ(manager, io::FdManager::current());
  }
  EXPECT_EQ(manager, &os::AppLoopImpl::processManager());
}

TEST(AppLoop, aHostMayBringItsOwnLoop) {
  class HostLoop final : public AppLoop::Impl {
  public:
    explicit HostLoop(bool& gone) : gone_(gone) {}
    ~HostLoop() override { gone_ = true; }
    int run() override {
      AppLoop::quit(11);
      return quits_ * 100 + AppLoop::exitValue();
    }
    void quit() override { ++quits_; }

  private:
    bool& gone_;
    int quits_ = 0;
  };
  bool gone = false;
  {
    AppLoop loop(std::make_unique<HostLoop>(gone));
    EXPECT_EQ(loop.run(), 111);
    EXPECT_FALSE(gone);
  }
  EXPECT_TRUE(gone);
}

}  // namespace
