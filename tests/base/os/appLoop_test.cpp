// The process's event loop, and what it learns of signals and of children.

#include "base/os/AppLoop.h"

#include "base/io/FdSelectManager.h"
#include "base/os/AppLoopImpl.h"
#include "base/os/LaunchProcess.h"
#include "base/os/ProcessMonitor.h"
#include "base/os/SignalHandler.h"
#include "base/os/SignalHandlerApp.h"
#include "base/os/childExit.h"
#include "base/os/signalName.h"
#include "base/plat/log/LogSrc.h"
#include "tests/support/prelude.h"

namespace {

using namespace testing;
using os::AppLoop;
using os::LaunchProcess;
using os::ProcessMonitor;
using os::SignalHandler;
using test::Later;
using test::messageFrom;

std::string refusedQuit() {
  return messageFrom([] { AppLoop::quit(1); });
}

TEST(AppLoopTest, runsAgainAfterItsEndAndAfterAnException) {
  EXPECT_THAT(refusedQuit(), HasSubstr("'inst && inst->isRunning'"));
  AppLoop loop;
  EXPECT_THAT(messageFrom([] { const AppLoop second; }), HasSubstr("'!inst'"));
  for (int value : {0, 5}) {
    const Later quitter([&loop, value] {
      EXPECT_THAT(messageFrom([&loop] { loop.run(); }), HasSubstr("'!isRunning'"));
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

class SignalHandlerTest : public Test {
protected:
  /// Registered as long as it lives, for the signals that the test says.
  struct Recorder : SignalHandler::Callback {
    Recorder(const char* itsName, std::string& theCalls) : name(itsName), allCalls(theCalls) {}
    ~Recorder() override {
      for (int sig : {SIGUSR1, SIGUSR2}) {
        SignalHandler::instance().setHandler(sig, this, false);
      }
    }
    void signalled(int sig) override {
      allCalls.append(name).append(sig == SIGUSR1 ? "1 " : "2 ");
      onSignal();
    }
    const char* const name;
    std::string& allCalls;
    std::function<void()> onSignal = [] {};
  };

  void enable(int sig, SignalHandler::Callback& callback, bool on = true) {
    SignalHandler::instance().setHandler(sig, &callback, on);
  }
  /// The calls of the next turn, such as "a1 b2 ".
  std::string turn() {
    os::AppLoopImpl::processManager().processEvents(0);
    return std::exchange(calls, {});
  }

  AppLoop loop;
  std::string calls;
  Recorder a{"a", calls};
  Recorder b{"b", calls};
};

TEST_F(SignalHandlerTest, everyDeliveryCallsEveryCallbackLastRegisteredFirstUnlessThePipeIsFull) {
  enable(SIGUSR1, a);
  enable(SIGUSR1, b);
  enable(SIGUSR2, a);
  for (int sig : {SIGUSR1, SIGUSR1, SIGUSR2}) {
    ::raise(sig);
  }
  EXPECT_EQ(calls, "") << "nothing runs in signal context";
  EXPECT_EQ(turn(), "b1 a1 b1 a1 a2 ");

  constexpr std::size_t Raised = 70'000;
  errno = ERANGE;
  for (std::size_t i = 0; i < Raised; ++i) {
    ::raise(SIGUSR1);
  }
  EXPECT_EQ(errno, ERANGE);
  EXPECT_LT(turn().size(), Raised * std::strlen("b1 a1 "));
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
  EXPECT_EQ(turn(), "b1 ") << "what is taken out is not called, what is added waits";
  ::raise(SIGUSR2);
  EXPECT_EQ(turn(), "a2 ");
  enable(SIGUSR1, a);
  enable(SIGUSR1, b, false);  // both of them
  ::raise(SIGUSR1);
  EXPECT_EQ(turn(), "a1 ");
  enable(SIGUSR1, a, false);
  EXPECT_EQ(::signal(SIGUSR1, SIG_DFL), SIG_DFL) << "the last callback is gone";
}

TEST_F(SignalHandlerTest, theAppsHandlerEndsTheLoopWith0AndNamesTheSignalAsLinuxDoes) {
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
  for (int sig = 1; sig <= 31; ++sig) {
    const std::string systemsName = ::sigabbrev_np(sig);
    EXPECT_EQ(os::signalName(sig), "SIG" + (systemsName == "POLL" ? "IO" : systemsName));
  }
  for (int sig : {-1, 0, 32, 1000}) {
    EXPECT_EQ(os::signalName(sig), nullptr) << sig;
  }
}

class ProcessMonitorTest : public Test, public ProcessMonitor::Callback {
protected:
  void processExited(int status) override {
    statuses.push_back(status);
    monitor.reset();
    throw plat::Exception("the owner's");
  }
  static std::unique_ptr<LaunchProcess> startSleeper() {
    auto child = std::make_unique<LaunchProcess>();
    child->args = {"/bin/sleep", "1000"};
    child->start();
    return child;
  }
  static void end(pid_t pid) {
    siginfo_t info;
    os::killProcess(pid, SIGTERM);  // which refuses a number that would reach other processes
    ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
  }
  void watch(LaunchProcess& child) { monitor = std::make_unique<ProcessMonitor>(child.pid, child.name.get(), this); }

  /// Runs the loop until so many lines have been logged, or for half a minute.
  static std::vector<std::string> awaitLines(const test::RecordingDest& log, std::size_t count) {
    for (int i = 0; i < 300 && log.lines().size() < count; ++i) {
      os::AppLoopImpl::processManager().processEvents(100);
    }
    return log.lines();
  }

  AppLoop loop;
  std::unique_ptr<ProcessMonitor> monitor;
  std::vector<int> statuses;
};

TEST_F(ProcessMonitorTest, tellsTheEndOnceAndReapsTheChild) {
  const test::RecordingDest log("ProcessMonitor:rec:100");
  std::vector<std::string> expected;
  for (const bool deadBefore : {false, true}) {
    const auto child = startSleeper();
    const pid_t pid = child->pid;
    deadBefore ? end(pid) : void();
    watch(*child);
    EXPECT_THAT(statuses, IsEmpty());
    if (!deadBefore) {
      os::AppLoopImpl::processManager().processEvents(0);
      end(pid);
    }
    expected.push_back("100 ProcessMonitor: child " + std::to_string(pid) + " (/bin/sleep) exited with signal SIGTERM");
    expected.emplace_back("0 ProcessMonitor: the owner's");
    EXPECT_EQ(awaitLines(log, expected.size()), expected);
    EXPECT_THAT(std::exchange(statuses, {}), ElementsAre(-SIGTERM));
    EXPECT_EQ(child->pid, -1);
  }
  LaunchProcess stranger;
  stranger.pid = ::getpid();
  watch(stranger);
  expected.emplace_back("0 ProcessMonitor: [System-10] waitpid: No child processes (10)");
  EXPECT_EQ(awaitLines(log, expected.size()), expected);
  EXPECT_EQ(stranger.pid, -1);
  EXPECT_THAT(statuses, IsEmpty());
}

TEST_F(ProcessMonitorTest, aDetachedChildIsReapedByTheLoop) {
  for (const bool byDestructor : {true, false}) {
    auto detached = startSleeper();
    const pid_t pid = detached->pid;
    const test::RecordingDest log("LaunchProcess:rec:100");
    detached->setDetachLevel(byDestructor ? 1 : 2);
    EXPECT_EQ(detached->pid, byDestructor ? pid : -1);
    detached.reset();
    end(pid);
    EXPECT_THAT(awaitLines(log, 1), ElementsAre("100 LaunchProcess: child " + std::to_string(pid) +
                                                " (<detached>) exited with signal SIGTERM"));
    EXPECT_EQ(::waitpid(pid, nullptr, WNOHANG), -1);
  }
}

}  // namespace
