#include "base/os/SignalHandler.h"

#include <cerrno>
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/io/FdSelectManager.h"
#include "base/os/AppLoop.h"
#include "base/os/AppLoopImpl.h"
#include "base/os/SignalHandlerApp.h"
#include "base/os/signalName.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/LogSrc.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/thrown.h"

namespace {

using os::AppLoop;
using os::SignalHandler;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SignalHandlerTest : public testing::Test {
protected:
  /// Registered as long as it lives, for the signals that the test says.
  class Recorder : public SignalHandler::Callback {
  public:
    Recorder(std::string name, std::vector<std::string>& calls) : name_(std::move(name)), calls_(calls) {}
    ~Recorder() override {
      for (int sig : {SIGUSR1, SIGUSR2, SIGHUP}) {
        SignalHandler::instance().setHandler(sig, this, false);
      }
    }
    void signalled(int sig) override {
      calls_.push_back(name_ + " " + os::signalName(sig));
      if (onSignal) {
        onSignal();
      }
    }
    std::function<void()> onSignal;

  private:
    std::string name_;
    std::vector<std::string>& calls_;
  };

  void enable(int sig, SignalHandler::Callback& callback, bool on = true) {
    SignalHandler::instance().setHandler(sig, &callback, on);
  }
  static void (*actionOf(int sig))(int) {
    struct sigaction action = {};
    ::sigaction(sig, nullptr, &action);
    return action.sa_handler;
  }
  void turn() { os::AppLoopImpl::processManager().processEvents(0); }

  AppLoop loop;
  std::vector<std::string> calls;
  Recorder a{"a", calls};
  Recorder b{"b", calls};
};

TEST_F(SignalHandlerTest, everyDeliveryCallsEveryCallbackOfTheSignalLastRegisteredFirst) {
  enable(SIGUSR1, a);
  enable(SIGUSR1, b);
  enable(SIGUSR2, a);
  for (int sig : {SIGUSR1, SIGUSR1, SIGUSR2}) {
    ::raise(sig);
  }
  EXPECT_THAT(calls, IsEmpty()) << "nothing runs in signal context";
  turn();
  EXPECT_THAT(calls, ElementsAre("b SIGUSR1", "a SIGUSR1", "b SIGUSR1", "a SIGUSR1", "a SIGUSR2"));
}

TEST_F(SignalHandlerTest, aFullPipeDropsSignalsAndErrnoIsLeftAlone) {
  enable(SIGUSR1, a);
  constexpr std::size_t Raised = 70'000;
  errno = ERANGE;
  for (std::size_t i = 0; i < Raised; ++i) {
    ::raise(SIGUSR1);
  }
  EXPECT_EQ(errno, ERANGE);
  turn();
  EXPECT_LT(calls.size(), Raised);
}

TEST_F(SignalHandlerTest, registrationsMayChangeDuringADispatch) {
  enable(SIGUSR1, a);
  enable(SIGUSR1, b);
  b.onSignal = [this] {
    enable(SIGUSR1, a, false);
    enable(SIGUSR1, b);
    enable(SIGUSR2, a);
  };
  ::raise(SIGUSR1);
  turn();
  EXPECT_THAT(calls, ElementsAre("b SIGUSR1")) << "what is taken out is not called, what is added waits";
  ::raise(SIGUSR2);
  turn();
  EXPECT_THAT(calls, ElementsAre("b SIGUSR1", "a SIGUSR2"));
}

TEST_F(SignalHandlerTest, theDefaultActionComesBackWithTheLastCallback) {
  enable(SIGUSR1, a);
  enable(SIGUSR1, b);
  enable(SIGUSR1, b);
  enable(SIGUSR2, a);
  enable(SIGUSR1, b, false);  // both of them
  EXPECT_NE(actionOf(SIGUSR1), SIG_DFL);
  ::raise(SIGUSR1);
  turn();
  EXPECT_THAT(calls, ElementsAre("a SIGUSR1"));
  enable(SIGUSR1, a, false);
  EXPECT_EQ(actionOf(SIGUSR1), SIG_DFL);
}

TEST_F(SignalHandlerTest, blockedSignalsArriveLaterAndAChildGetsDefaultsBelowTheHighest) {
  enable(SIGHUP, a);
  enable(SIGUSR1, a);
  enable(SIGUSR2, a);
  SignalHandler& handler = SignalHandler::instance();
  EXPECT_THAT(test::messageFrom<plat::AssertionFail>([] { const SignalHandler second; }), HasSubstr("'!inst'"));
  SignalHandler::BlockRecord record;
  handler.unblockSignals(record);  // not active: changes nothing
  handler.blockSignals(record);
  EXPECT_EQ(record.maxSig, SIGUSR2);
  ::raise(SIGUSR1);
  turn();
  EXPECT_THAT(calls, IsEmpty());
  handler.unblockSignals(record);
  EXPECT_FALSE(record.active);
  turn();
  EXPECT_THAT(calls, ElementsAre("a SIGUSR1"));

  handler.resetSignals(record);
  EXPECT_EQ(actionOf(SIGHUP), SIG_DFL);
  EXPECT_EQ(actionOf(SIGUSR1), SIG_DFL);
  EXPECT_NE(actionOf(SIGUSR2), SIG_DFL) << "the highest one is left alone";
}

TEST_F(SignalHandlerTest, theAppsHandlerNamesTheSignalAndEndsTheLoopWith0) {
  static plat::LogSrc source("TestSignals");
  test::RecordingDest log("TestSignals:rec:30");
  os::SignalHandlerApp app(&source);
  enable(SIGUSR1, app);
  enable(SIGUSR2, a);
  a.onSignal = [] { AppLoop::quit(7); };
  ::raise(SIGUSR2);
  ::raise(SIGUSR1);
  EXPECT_EQ(loop.run(), 0) << "7, and then the signal before the turn was over";
  enable(SIGUSR1, app, false);
  EXPECT_THAT(log.lines(), ElementsAre("30 TestSignals: Got signal SIGUSR1"));
}

TEST(SignalName, knowsTheLinuxNumbersOnly) {
  for (int sig = 1; sig <= 31; ++sig) {
    const std::string systemsName = ::sigabbrev_np(sig);
    EXPECT_EQ(os::signalName(sig), "SIG" + (systemsName == "POLL" ? "IO" : systemsName));
  }
  for (int sig : {-1, 0, 32, 64, 1000}) {
    EXPECT_EQ(os::signalName(sig), nullptr) << sig;
  }
}

}  // namespace
