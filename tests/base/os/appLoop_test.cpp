// The process's event loop, and what it learns of signals and of children.

#include "base/os/AppLoop.h"

#include <cerrno>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/io/FdSelectManager.h"
#include "base/os/AppLoopImpl.h"
#include "base/os/LaunchProcess.h"
#include "base/os/ProcessMonitor.h"
#include "base/os/SignalHandler.h"
#include "base/os/SignalHandlerApp.h"
#include "base/os/signalName.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/time/Timer.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/thrown.h"

namespace {

using os::AppLoop;
using os::LaunchProcess;
using os::ProcessMonitor;
using os::SignalHandler;
using plat::AssertionFail;
using test::messageFrom;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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

std::string refusedQuit() {
  return messageFrom<AssertionFail>([] { AppLoop::quit(1); });
}

TEST(AppLoopTest, runsAgainAfterItsEndAndAfterAnException) {
  EXPECT_THAT(refusedQuit(), HasSubstr("'inst && inst->isRunning'"));
  AppLoop loop;
  EXPECT_THAT(messageFrom<AssertionFail>([] { const AppLoop second; }), HasSubstr("'!inst'"));
  for (int value : {0, 5}) {
    const Later quitter([&loop, value] {
      EXPECT_THAT(messageFrom<AssertionFail>([&loop] { loop.run(); }), HasSubstr("'!isRunning'"));
      AppLoop::quit(value);
    });
    EXPECT_EQ(loop.run(), value);
  }
  const Later thrower([] { throw plat::Exception("from a timer"); });
  EXPECT_EQ(messageFrom([&] { loop.run(); }), "from a timer");
  EXPECT_THAT(refusedQuit(), HasSubstr("'inst && inst->isRunning'"));
  const Later quitter([] { AppLoop::quit(7); });
  const Later second([] { AppLoop::quit(9); });
  EXPECT_EQ(loop.run(), 9) << "the last value counts, and the turn is finished";
}

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
  static void turn() { os::AppLoopImpl::processManager().processEvents(0); }

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
  enable(SIGUSR1, a);
  enable(SIGUSR1, b, false);  // both of them
  EXPECT_NE(actionOf(SIGUSR1), SIG_DFL);
  ::raise(SIGUSR1);
  turn();
  EXPECT_THAT(calls, ElementsAre("b SIGUSR1", "a SIGUSR2", "a SIGUSR1"));
  enable(SIGUSR1, a, false);
  EXPECT_EQ(actionOf(SIGUSR1), SIG_DFL) << "the last callback is gone";
}

TEST_F(SignalHandlerTest, blockedSignalsArriveLaterAndAChildGetsDefaultsBelowTheHighest) {
  for (int sig : {SIGHUP, SIGUSR1, SIGUSR2}) {
    enable(sig, a);
  }
  SignalHandler& handler = SignalHandler::instance();
  EXPECT_THAT(messageFrom<AssertionFail>([] { const SignalHandler second; }), HasSubstr("'!inst'"));
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

class ProcessMonitorTest : public testing::Test, public ProcessMonitor::Callback {
protected:
  void processExited(int status) override {
    statuses.push_back(status);
    monitor.reset();
    throw plat::Exception("the owner's");
  }
  static void launch(LaunchProcess& process, const char* script) {
    process.args = {"/bin/sh", "-c", script};
    process.start();
  }
  void watch(LaunchProcess& child) { monitor = std::make_unique<ProcessMonitor>(child.pid, child.name.get(), this); }

  /// Runs the loop until `done` or for five seconds.
  template <class Done>
  static void loopUntil(const Done& done) {
    for (int i = 0; i < 500 && !done(); ++i) {
      os::AppLoopImpl::processManager().processEvents(10);
    }
  }

  AppLoop loop;
  std::unique_ptr<ProcessMonitor> monitor;
  std::vector<int> statuses;
};

TEST_F(ProcessMonitorTest, tellsTheEndOnceAndReapsTheChild) {
  for (const bool deadBefore : {false, true}) {
    test::RecordingDest log("ProcessMonitor:rec:100");
    LaunchProcess child;
    launch(child, deadBefore ? "kill -15 $$" : "sleep 0.05; exit 5");
    const std::string name = "100 ProcessMonitor: child " + std::to_string(child.pid) + " (/bin/sh) exited with ";
    siginfo_t info;
    ::waitid(P_PID, static_cast<id_t>(child.pid), &info, WEXITED | WNOWAIT | (deadBefore ? 0 : WNOHANG));
    watch(child);
    EXPECT_THAT(statuses, IsEmpty());
    loopUntil([&] { return !statuses.empty(); });
    EXPECT_THAT(std::exchange(statuses, {}), ElementsAre(deadBefore ? -SIGTERM : 5));
    EXPECT_EQ(child.pid, -1);
    EXPECT_THAT(log.lines(),
                ElementsAre(name + (deadBefore ? "signal SIGTERM" : "status 5"), "0 ProcessMonitor: the owner's"));
  }
  test::RecordingDest log("ProcessMonitor:rec:100");
  LaunchProcess stranger;
  stranger.pid = ::getpid();
  watch(stranger);
  loopUntil([&] { return stranger.pid < 0; });
  EXPECT_THAT(log.lines(), ElementsAre("0 ProcessMonitor: [System-10] waitpid: No child processes (10)"));
  EXPECT_THAT(statuses, IsEmpty());
  monitor.reset();
}

TEST_F(ProcessMonitorTest, aDetachedChildIsReapedByTheLoop) {
  test::RecordingDest log("LaunchProcess:rec:100");
  for (const bool byDestructor : {true, false}) {
    log.clear();
    auto detached = std::make_unique<LaunchProcess>();
    launch(*detached, "sleep 0.05; exit 4");
    const pid_t pid = detached->pid;
    detached->setDetachLevel(byDestructor ? 1 : 2);
    EXPECT_EQ(detached->pid, byDestructor ? pid : -1);
    detached.reset();
    loopUntil([&] { return log.lines().size() > 1; });
    EXPECT_THAT(log.lines(),
                ElementsAre(HasSubstr("Launching /bin/sh"),
                            "100 LaunchProcess: child " + std::to_string(pid) + " (<detached>) exited with status 4"));
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1);
  }
}

}  // namespace
