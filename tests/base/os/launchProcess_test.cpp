#include "base/os/LaunchProcess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/os/AppLoop.h"
#include "base/os/SignalHandler.h"
#include "base/os/childExit.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/unix/closeFrom.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/StringParameter.h"
#include "tests/base/os/inChild.h"
#include "tests/support/FewDescriptors.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/TempDir.h"
#include "tests/support/Unprivileged.h"
#include "tests/support/openFds.h"
#include "tests/support/thrown.h"

namespace {

using os::LaunchProcess;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

using Launch = std::unique_ptr<LaunchProcess>;

Launch program(std::initializer_list<const char*> words) {
  Launch launch = std::make_unique<LaunchProcess>();
  launch->args.assign(words.begin(), words.end());
  return launch;
}
Launch shell(const std::string& script) {
  return program({"/bin/sh", "-c", script.c_str()});
}
std::string startFailure(const Launch& launch) {
  return test::messageFrom([&launch] { launch->start(); });
}

/// Every test leaves as many descriptors as it found, and no child, be it alive or a zombie.
class LaunchProcessTest : public testing::Test {
protected:
  struct Listener : os::SignalHandler::Callback {
    explicit Listener(int signal) : sig(signal) { os::SignalHandler::instance().setHandler(sig, this, true); }
    ~Listener() override { os::SignalHandler::instance().setHandler(sig, this, false); }
    void signalled(int) override {}
    const int sig;
  };

  static void SetUpTestSuite() {
    const os::AppLoop loop;
    const Listener listener(SIGUSR1);  // the pipe of the signal handler stays
  }
  void TearDown() override {
    EXPECT_EQ(test::openFds(), descriptorsBefore);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
  }

  /// Runs it to its end; how it has ended, and what it has printed.
  static int statusOf(const Launch& launch) {
    int status = 99;
    launch->start();
    EXPECT_TRUE(launch->wait(&status, -1));
    return status;
  }
  std::string outputOf(const Launch& launch) {
    launch->redirectFile(false, 1, (dir / "output").c_str(), false);
    EXPECT_EQ(statusOf(launch), 0);
    return dir.read("output");
  }

  test::TempDir dir;
  const std::set<int> descriptorsBefore = test::openFds();
};

TEST_F(LaunchProcessTest, passesArgumentsAndEnvironmentAndNothingElse) {
  ASSERT_EQ(::setenv("LAUNCH_TEST", "kept", 1), 0);
  const Launch words = program({"/bin/sh", "-c", "printf '[%s]' \"$@\"", "sh", "", "a b", "'\""});
  EXPECT_EQ(outputOf(words), "[][a b]['\"]");
  const Launch bare = program({"env"});
  bare->searchPath = true;
  bare->environment = {{"EMPTY", ""}, {"PATH", "/nowhere"}};
  EXPECT_EQ(outputOf(bare), "EMPTY=\nPATH=/nowhere\n");
  const Launch inherits = shell("echo $LAUNCH_TEST");
  inherits->inheritEnvironment();
  EXPECT_EQ(outputOf(inherits), "kept\n");
}

TEST_F(LaunchProcessTest, aFailedStartIsAnExceptionHereAndNoChild) {
  for (const int level : {0, 1, 2}) {
    for (const int highest : {1, 60}) {  // above 1, the pipe for the error is in the way
      const Launch launch = program({"/no/such/program"});
      launch->setDetachLevel(level);
      launch->redirectFile(true, 0, "/dev/null", false);
      for (int to = 1; to <= highest; ++to) {
        launch->redirectDup2(0, to);
      }
      const auto failure = test::failureFrom([&] { launch->start(); });
      EXPECT_EQ(failure.err, ENOENT);
      EXPECT_STREQ(failure.message, "execve(/no/such/program): No such file or directory (2)");
      EXPECT_EQ(launch->pid, -1);
      EXPECT_THAT(startFailure(launch), HasSubstr("'!used'"));
    }
  }
  for (const auto& [to, from, call] : {std::tuple(5, 999, "dup2"), std::tuple(900, 900, "fcntl")}) {
    const Launch launch = program({"/bin/true"});
    launch->childDup[to] = from;
    EXPECT_EQ(startFailure(launch), std::string(call) + ": Bad file descriptor (9)");
  }
}

TEST_F(LaunchProcessTest, refusesWhatCannotBeMeant) {
  const Launch launch = program({"true"});
  EXPECT_THAT(test::messageFrom([&] { launch->redirectDup2(3, 4); }), EndsWith(": redirectDup2: fd 3 not redirected"));
  EXPECT_EQ(test::messageFrom([&] { launch->wait(nullptr, 0); }), "LaunchProcess: process detached or not started");
  launch->setDetachLevel(1);
  EXPECT_THAT(test::messageFrom([&] { launch->setDetachLevel(0); }), HasSubstr("'dl >= cfg.dl'"));
  EXPECT_THAT(startFailure(launch), HasSubstr("'isAbsolutePath(cfg.args[0])'"));
  launch->args = {"no-such-program"};
  launch->searchPath = true;
  EXPECT_EQ(startFailure(launch), "no-such-program does not exist or is not executable: No such file or directory (2)");
  EXPECT_FALSE(launch->used);
  launch->args = {"/bin/true"};
  launch->runAsUid = 65534;
  const test::Unprivileged unprivileged;
  EXPECT_THAT(startFailure(launch), HasSubstr("'getuid() == 0 && geteuid() == 0'"));
}

TEST_F(LaunchProcessTest, putsTheWordsForOtherRightsAheadOfTheProgram) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "needs root";
  }
  const Launch asUser = program({"/bin/echo", "word"});
  asUser->runAsUid = 65534;
  asUser->elevate = true;  // which root needs not
  EXPECT_EQ(outputOf(asUser), "-setuidhelper 65534 /bin/echo word\n");
  auto& command = plat::Configuration::global().getStringParam("ElevateCmd");
  command.setParam("/bin/echo front", 10);
  const Launch asRoot = program({"/bin/echo", "word"});
  asRoot->elevate = true;
  test::Unprivileged::give(dir.path());
  test::Unprivileged::give(dir / "output");
  {
    const test::Unprivileged unprivileged;
    EXPECT_EQ(outputOf(asRoot), "front /bin/echo word\n");
  }
  command.unsetParam(10, true);
}

TEST_F(LaunchProcessTest, redirectsInEveryClash) {
  const char* const files[] = {"a", "b", "c"};
  for (const char* name : files) {
    dir.write(name, name);
  }
  const struct {
    const char* what;
    int order[3];  // the files are opened as these numbers, and so named 3, 4 and 5 in the child
  } cases[] = {{"straight", {3, 4, 5}}, {"swapped", {4, 3, 5}}, {"in a ring", {4, 5, 3}}, {"far", {30, 31, 32}}};
  for (const auto& c : cases) {
    // In a child, as the numbers may be in use here.
    const test::Outcome outcome = test::inChild([&] {
      os::closeFrom(3);
      const Launch launch = shell("cat <&3 >&9; cat <&4; cat <&5");
      for (int i = 0; i < 3; ++i) {
        ::dup3(::open((dir / files[i]).c_str(), O_RDONLY | O_CLOEXEC), 50 + i, O_CLOEXEC);
      }
      for (int i = 0; i < 3; ++i) {
        launch->childDup[3 + i] = ::dup3(50 + i, c.order[i], O_CLOEXEC);
      }
      launch->childDup[1] = ::fcntl(1, F_DUPFD_CLOEXEC, 60);
      launch->redirectDup2(1, 9);
      ::_exit(statusOf(launch));
    });
    EXPECT_EQ(outcome, (test::Outcome{0, "abc", ""})) << c.what;
  }
}

TEST_F(LaunchProcessTest, theChildHasNoDescriptorThatItWasNotGiven) {
  const int forgotten = ::fcntl(0, F_DUPFD, 40);
  const Launch plain = program({"/bin/ls", "/proc/self/fd"});
  EXPECT_EQ(outputOf(plain), "0\n1\n2\n3\n") << "the last one is the listing's";
  const Launch gaps = program({"/bin/ls", "/proc/self/fd"});
  for (int fd = 2; fd <= forgotten; ++fd) {
    gaps->closeInChild.insert(fd);
  }
  gaps->childDup[forgotten + 1] = ::fcntl(0, F_DUPFD_CLOEXEC, 50);
  EXPECT_EQ(outputOf(gaps), "0\n1\n2\n" + std::to_string(forgotten + 1) + "\n");
  const Launch standard = shell("readlink /proc/self/fd/0");
  EXPECT_EQ(outputOf(standard), "/dev/null\n");
  ::close(forgotten);
}

TEST_F(LaunchProcessTest, redirectsToFilesAtTheirEndOrAnew) {
  for (const bool append : {false, true}) {
    dir.write("file", "old ");
    const Launch launch = shell("echo new >&4");
    launch->redirectFile(true, 4, "/dev/null", false);
    launch->redirectFile(false, 4, (dir / "file").c_str(), append);  // in the place of the former
    EXPECT_EQ(statusOf(launch), 0);
    EXPECT_EQ(dir.read("file"), append ? "old new\n" : "new\n");
  }
}

TEST_F(LaunchProcessTest, theChildStartsWithTheMaskOfItsParent) {
  const test::Outcome outcome = test::inChild([] {
    for (int sig = 1; sig < NSIG; ++sig) {
      ::signal(sig, SIG_DFL);  // who runs the test may have had some ignored
    }
    const os::AppLoop loop;
    const Listener listener(SIGUSR1);
    os::socketInit();  // ignores SIGPIPE
    ::signal(SIGHUP, SIG_IGN);
    sigset_t mask, after;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    const Launch launch = program({"/bin/sed", "-n", "/Sig[BI]/p", "/proc/self/status"});
    launch->childDup[1] = ::fcntl(1, F_DUPFD_CLOEXEC, 0);
    const int status = statusOf(launch);
    ::sigprocmask(SIG_SETMASK, nullptr, &after);
    ::_exit(std::memcmp(&after, &mask, sizeof(long)) == 0 ? status : 98);
  });
  EXPECT_EQ(outcome, (test::Outcome{0, "SigBlk:\t0000000000004000\nSigIgn:\t0000000000000001\n", ""}));
}

TEST_F(LaunchProcessTest, tellsAndLogsHowTheChildEnded) {
  const struct {
    const char* script;
    int status;
    const char* logged;
  } cases[] = {{"exit 0", 0, nullptr},
               {"exit 3", 3, "status 3"},
               {"kill -9 $$", -SIGKILL, "signal SIGKILL"},
               {"kill -40 $$", -40, "signal <unknown>"}};
  for (const auto& c : cases) {
    test::RecordingDest log("LaunchProcess:rec:100");
    const Launch launch = shell(c.script);
    launch->start();
    const std::string child = "100 LaunchProcess: child " + std::to_string(launch->pid);
    std::vector<std::string> lines = {std::string("100 LaunchProcess: Launching /bin/sh -c ") + c.script};
    if (c.logged != nullptr) {
      lines.push_back(child + " (/bin/sh) exited with " + c.logged);
    }
    int status = 99;
    EXPECT_TRUE(launch->wait(&status, 5000));
    EXPECT_EQ(status, c.status);
    EXPECT_EQ(log.lines(), lines);
    EXPECT_THAT(test::messageFrom([&] { launch->wait(nullptr, 0); }), HasSubstr("detached or not started"));
  }
}

TEST_F(LaunchProcessTest, waitsNoLongerThanToldOrNeeded) {
  const Launch launch = program({"/bin/sleep", "100"});
  launch->start();
  auto begin = steady_clock::now();
  EXPECT_FALSE(launch->wait(nullptr, 0));
  EXPECT_FALSE(launch->wait(nullptr, 70));
  EXPECT_GE(steady_clock::now() - begin, milliseconds(65));
  os::killProcess(launch->pid, SIGTERM);
  int status = 0;
  EXPECT_TRUE(launch->wait(&status, 5000));
  EXPECT_EQ(status, -SIGTERM);
  EXPECT_EQ(test::messageFrom([] { os::killProcess(-1, SIGTERM); }), "kill(-1,SIGTERM): No such process (3)");

  const os::AppLoop loop;  // which wakes up at once, where there would be a second's sleep without it
  const Listener listener(SIGUSR1);
  const Launch brief = program({"/bin/sleep", "0.1"});
  begin = steady_clock::now();
  brief->start();
  EXPECT_TRUE(brief->wait(&status, 60'000));
  EXPECT_LT(steady_clock::now() - begin, milliseconds(900));
}

TEST_F(LaunchProcessTest, theDestructorWaitsForAChildThatIsNotDetached) {
  shell("sleep 0.1; echo done >" + dir / "done")->start();
  EXPECT_TRUE(dir.exists("done"));
  test::RecordingDest log("LaunchProcess:rec:0");
  {
    const Launch stolen = program({"/bin/true"});
    stolen->start();
    ::waitpid(stolen->pid, nullptr, 0);
  }
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("~PidCleanup: [System-10] waitpid: No child processes (10)")));
}

TEST_F(LaunchProcessTest, detachedFromTheStartIsNobodysChildAndLeadsNoSession) {
  const char* const script = "read -r line </proc/self/stat; echo $line";
  for (const bool execs : {true, false}) {
    const Launch launch = shell(script);
    launch->setDetachLevel(2);
    launch->redirectFile(false, 1, (dir / "stat").c_str(), false);
    if (!execs) {
      launch->args.clear();
    }
    if (!launch->start()) {
      ::execl("/bin/sh", "sh", "-c", script, nullptr);
      ::_exit(127);
    }
    EXPECT_EQ(launch->pid, -1);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    int pid = 0, parent = ::getpid(), session = ::getsid(0);
    for (int i = 0; i < 500 && pid == 0; ++i) {
      ::usleep(10'000);
      std::sscanf(dir.read("stat").c_str(), "%d (sh) %*c %d %*d %d", &pid, &parent, &session);
    }
    EXPECT_NE(pid, session);
    EXPECT_NE(parent, ::getpid());
    EXPECT_NE(session, ::getsid(0));
  }
}

TEST_F(LaunchProcessTest, aChildWithoutProgramRunsOnWithoutTheHandlersOfItsParent) {
  const os::AppLoop loop;
  const Listener first(SIGUSR1), second(SIGUSR2);  // the highest one stays
  LaunchProcess launch;
  launch.elevate = ::geteuid() == 0;  // which root needs not
  launch.redirectFile(false, 4, (dir / "file").c_str(), false);
  if (!launch.start()) {
    struct sigaction action = {};
    ::sigaction(SIGUSR1, nullptr, &action);
    const bool clean = launch.pid == -1 && launch.childDup.empty() && action.sa_handler == SIG_DFL;
    ::_exit(clean && ::write(4, "child", 5) == 5 ? 7 : 8);
  }
  int status = 0;
  EXPECT_TRUE(launch.wait(&status, -1));
  EXPECT_EQ(status, 7);
  EXPECT_EQ(dir.read("file"), "child");
}

TEST_F(LaunchProcessTest, runningOutOfDescriptorsIsToldAndLeaksNone) {
  constexpr int Needed = 4;  // two files and a pipe
  for (int spare = 0; spare <= Needed; ++spare) {
    const Launch launch = program({"/bin/true"});
    const test::FewDescriptors few(spare);
    EXPECT_EQ(test::failureFrom([&] { launch->start(); }).err, spare < Needed ? EMFILE : -1);
  }
}

}  // namespace
