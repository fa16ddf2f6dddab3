#include "base/os/ProcessMonitor.h"

#include <csignal>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/io/FdSelectManager.h"
#include "base/os/AppLoop.h"
#include "base/os/AppLoopImpl.h"
#include "base/os/LaunchProcess.h"
#include "base/os/childExit.h"
#include "base/plat/Exception.h"
#include "tests/base/plat/RecordingDest.h"

namespace {

using os::LaunchProcess;
using os::ProcessMonitor;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ProcessMonitorTest : public testing::Test, public ProcessMonitor::Callback {
protected:
  void processExited(int status) override {
    statuses.push_back(status);
    monitor.reset();
    if (throwing) {
      throw plat::Exception("the owner's");
    }
  }
  void launch(const char* script) {
    child.args = {"/bin/sh", "-c", script};
    child.start();
  }
  void watch() { monitor = std::make_unique<ProcessMonitor>(child.pid, child.name.get(), this); }

  /// Runs the loop until `done` or for five seconds.
  template <class Done>
  static void loopUntil(const Done& done) {
    for (int i = 0; i < 500 && !done(); ++i) {
      os::AppLoopImpl::processManager().processEvents(10);
    }
  }

  os::AppLoop loop;
  LaunchProcess child;
  std::unique_ptr<ProcessMonitor> monitor;
  std::vector<int> statuses;
  bool throwing = false;
};

TEST_F(ProcessMonitorTest, tellsTheEndOnceAndReapsTheChild) {
  test::RecordingDest log("ProcessMonitor:rec:100");
  const std::string name = "100 ProcessMonitor: child ";
  launch("sleep 0.05; exit 5");
  const std::string pid = std::to_string(child.pid);
  throwing = true;
  watch();
  EXPECT_THAT(statuses, IsEmpty());
  loopUntil([&] { return !statuses.empty(); });
  EXPECT_THAT(statuses, ElementsAre(5));
  EXPECT_EQ(child.pid, -1);
  EXPECT_THAT(log.lines(),
              ElementsAre(name + pid + " (/bin/sh) exited with status 5", "0 ProcessMonitor: the owner's"));
}

TEST_F(ProcessMonitorTest, findsAChildThatWasDeadBefore) {
  launch("kill -15 $$");
  siginfo_t info;
  ::waitid(P_PID, static_cast<id_t>(child.pid), &info, WEXITED | WNOWAIT);
  watch();
  loopUntil([&] { return !statuses.empty(); });
  EXPECT_THAT(statuses, ElementsAre(-SIGTERM));
}

TEST_F(ProcessMonitorTest, logsWhatIsNoChild) {
  test::RecordingDest log("ProcessMonitor:rec:100");
  child.pid = ::getpid();
  watch();
  loopUntil([&] { return child.pid < 0; });
  EXPECT_THAT(log.lines(), ElementsAre("0 ProcessMonitor: [System-10] waitpid: No child processes (10)"));
  EXPECT_THAT(statuses, IsEmpty());
}

TEST_F(ProcessMonitorTest, aDetachedChildIsReapedByTheLoop) {
  test::RecordingDest log("LaunchProcess:rec:100");
  for (const bool byDestructor : {true, false}) {
    log.clear();
    auto detached = std::make_unique<LaunchProcess>();
    detached->args = {"/bin/sh", "-c", "sleep 0.05; exit 4"};
    detached->start();
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
