#include "base/os/LaunchProcess.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/os/AppLoop.h"
#include "base/os/SignalHandler.h"
#include "base/os/childExit.h"
#include "base/os/closeFrom.h"
#include "base/os/socketUtil.h"
#include "base/os/startError.h"
#include "base/plat/Configuration.h"
#include "base/plat/StringParameter.h"
#include "tests/base/os/ChildAllocations.h"
#include "tests/base/os/inChild.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/TempDir.h"
#include "tests/support/Unprivileged.h"
#include "tests/support/openFds.h"
#include "tests/support/thrown.h"

namespace {

using os::LaunchProcess;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;

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

  static void shell(LaunchProcess& launch, const char* script) { launch.args = {"/bin/sh", "-c", script}; }

  /// Runs it to its end; how it has ended, and what it has printed.
  static int statusOf(LaunchProcess& launch) {
    int status = 99;
    launch.start();
    EXPECT_TRUE(launch.wait(&status, -1));
    return status;
  }
  std::string outputOf(LaunchProcess& launch) {
    launch.redirectFile(false, 1, (dir / "output").c_str(), false);
    EXPECT_EQ(statusOf(launch), 0);
    return dir.read("output");
  }

  test::TempDir dir;
  const std::set<int> descriptorsBefore = test::openFds();
};

TEST_F(LaunchProcessTest, passesArgumentsAndEnvironmentAndNothingElse) {
  ASSERT_EQ(::setenv("LAUNCH_TEST", "kept", 1), 0);
  LaunchProcess words;
  words.args = {"/bin/sh", "-c", "printf '[%s]' \"$@\"", "sh", "", "a b", "'\""};
  EXPECT_EQ(outputOf(words), "[][a b]['\"]");

  LaunchProcess bare;
  bare.args = {"env"};
  bare.searchPath = true;
  bare.environment = {{"EMPTY", ""}, {"PATH", "/nowhere"}};
  EXPECT_EQ(outputOf(bare), "EMPTY=\nPATH=/nowhere\n");

  LaunchProcess inherits;
  shell(inherits, "echo $LAUNCH_TEST");
  inherits.inheritEnvironment();
  EXPECT_EQ(outputOf(inherits), "kept\n");
}

TEST_F(LaunchProcessTest, aFailedStartIsAnExceptionHereAndNoChild) {
  for (const int level : {0, 1, 2}) {
    for (const int highest : {1, 60}) {  // above 1, the pipe for the error is in the way
      LaunchProcess launch;
      launch.args = {"/no/such/program"};
      launch.setDetachLevel(level);
      launch.redirectFile(true, 0, "/dev/null", false);
      for (int to = 1; to <= highest; ++to) {
        launch.redirectDup2(0, to);
      }
      const auto failure = test::failureFrom([&] { launch.start(); });
      EXPECT_EQ(failure.err, ENOENT);
      EXPECT_STREQ(failure.message, "execve(/no/such/program): No such file or directory (2)");
      EXPECT_EQ(launch.pid, -1);
      EXPECT_THAT(test::messageFrom([&] { launch.start(); }), HasSubstr("'!used'"));
    }
  }
  for (const auto& [to, from, call] : {std::tuple(5, 999, "dup2"), std::tuple(900, 900, "fcntl")}) {
    LaunchProcess launch;
    launch.args = {"/bin/true"};
    launch.childDup[to] = from;
    EXPECT_EQ(test::messageFrom([&] { launch.start(); }), std::string(call) + ": Bad file descriptor (9)");
  }
}

TEST_F(LaunchProcessTest, refusesWhatCannotBeMeant) {
  LaunchProcess launch;
  EXPECT_THAT(test::messageFrom([&] { launch.redirectDup2(3, 4); }),
              testing::EndsWith(": redirectDup2: fd 3 not redirected"));
  EXPECT_EQ(test::messageFrom([&] { launch.wait(nullptr, 0); }), "LaunchProcess: process detached or not started");
  launch.setDetachLevel(1);
  EXPECT_THAT(test::messageFrom([&] { launch.setDetachLevel(0); }), HasSubstr("'dl >= cfg.dl'"));
  launch.args = {"true"};
  EXPECT_THAT(test::messageFrom([&] { launch.start(); }), HasSubstr("'isAbsolutePath(cfg.args[0])'"));
  launch.args = {"no-such-program"};
  launch.searchPath = true;
  EXPECT_EQ(test::messageFrom([&] { launch.start(); }),
            "no-such-program does not exist or is not executable: No such file or directory (2)");
  EXPECT_FALSE(launch.used);
  launch.args = {"/bin/true"};
  launch.runAsUid = 65534;
  const test::Unprivileged unprivileged;
  EXPECT_THAT(test::messageFrom([&] { launch.start(); }), HasSubstr("'getuid() == 0 && geteuid() == 0'"));
}

TEST_F(LaunchProcessTest, putsTheWordsForOtherRightsAheadOfTheProgram) {
  if (::geteuid() != 0) {
    GTEST_SKIP() << "needs root";
  }
  LaunchProcess asUser;
  asUser.args = {"/bin/echo", "word"};
  asUser.runAsUid = 65534;
  asUser.elevate = true;  // which root needs not
  EXPECT_EQ(outputOf(asUser), "-setuidhelper 65534 /bin/echo word\n");
  auto& command = plat::Configuration::global().getStringParam("ElevateCmd");
  command.setParam("/bin/echo front", 10);
  LaunchProcess asRoot;
  asRoot.args = {"/bin/echo", "word"};
  asRoot.elevate = true;
  test::Unprivileged::give(dir.path());
  test::Unprivileged::give(dir / "output");
  {
    const test::Unprivileged unprivileged;
    EXPECT_EQ(outputOf(asRoot), "front /bin/echo word\n");
  }
  command.unsetParam(10, true);
}

TEST_F(LaunchProcessTest, redirectsInEveryClash) {
  for (const char* name : {"a", "b", "c"}) {
    dir.write(name, name);
  }
  const struct {
    const char* what;
    std::vector<int> order;  // the files a, b and c are opened as these numbers, and so named 3, 4 and 5 in the child
  } cases[] = {{"straight", {3, 4, 5}}, {"swapped", {4, 3, 5}}, {"in a ring", {4, 5, 3}}, {"far", {30, 31, 32}}};
  for (const auto& c : cases) {
    // In a child, as the numbers may be in use here.
    const test::Outcome outcome = test::inChild([&] {
      os::closeFrom(3);
      LaunchProcess launch;
      for (int i = 0; i < 3; ++i) {
        const int fd = ::open((dir / std::string(1, static_cast<char>('a' + i))).c_str(), O_RDONLY | O_CLOEXEC);
        ::dup3(fd, 50 + i, O_CLOEXEC);
        ::close(fd);
      }
      for (int i = 0; i < 3; ++i) {
        ::dup3(50 + i, c.order[static_cast<std::size_t>(i)], O_CLOEXEC);
        ::close(50 + i);
        launch.childDup[3 + i] = c.order[static_cast<std::size_t>(i)];
      }
      launch.childDup[1] = ::fcntl(1, F_DUPFD_CLOEXEC, 60);
      launch.redirectDup2(1, 9);
      shell(launch, "cat <&3 >&9; cat <&4; cat <&5");
      ::_exit(statusOf(launch));
    });
    EXPECT_EQ(outcome, (test::Outcome{0, "abc", ""})) << c.what;
  }
}

TEST_F(LaunchProcessTest, theChildHasNoDescriptorThatItWasNotGiven) {
  const int forgotten = ::fcntl(0, F_DUPFD, 40);
  LaunchProcess plain;
  plain.args = {"/bin/ls", "/proc/self/fd"};
  EXPECT_EQ(outputOf(plain), "0\n1\n2\n3\n") << "the last one is the listing's";
  LaunchProcess gaps;
  gaps.args = plain.args;
  for (int fd = 2; fd <= forgotten; ++fd) {
    gaps.closeInChild.insert(fd);
  }
  gaps.childDup[forgotten + 1] = ::fcntl(0, F_DUPFD_CLOEXEC, 50);
  EXPECT_EQ(outputOf(gaps), "0\n1\n2\n" + std::to_string(forgotten + 1) + "\n");
  LaunchProcess standard;
  shell(standard, "readlink /proc/self/fd/0");
  EXPECT_EQ(outputOf(standard), "/dev/null\n");
  ::close(forgotten);
}

TEST_F(LaunchProcessTest, redirectsToFilesAtTheirEndOrAnew) {
  for (const bool append : {false, true}) {
    dir.write("file", "old ");
    LaunchProcess launch;
    shell(launch, "echo new >&4");
    launch.redirectFile(true, 4, "/dev/null", false);
    launch.redirectFile(false, 4, (dir / "file").c_str(), append);  // in the place of the former
    EXPECT_EQ(outputOf(launch), "");
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
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    LaunchProcess launch;
    launch.args = {"/bin/sed", "-n", "/Sig[BI]/p", "/proc/self/status"};
    launch.childDup[1] = ::fcntl(1, F_DUPFD_CLOEXEC, 0);
    const int status = statusOf(launch);
    sigset_t after;
    ::sigprocmask(SIG_SETMASK, nullptr, &after);
    ::_exit(std::memcmp(&after, &mask, sizeof(long)) == 0 ? status : 98);
  });
  EXPECT_EQ(outcome, (test::Outcome{0, "SigBlk:\t0000000000004000\nSigIgn:\t0000000000000001\n", ""}));
}

TEST_F(LaunchProcessTest, noHandlerOfTheParentRunsInTheChild) {
  static std::atomic<bool> stop = false;
  static std::atomic<bool> strayed = false;  // seen here, as the child works in the same memory
  const test::Outcome outcome = test::inChild([] {
    static const pid_t parent = ::getpid();
    ::setpgid(0, 0);
    ::signal(SIGUSR1, [](int) { strayed = strayed || ::getpid() != parent; });
    std::thread storm([] {
      while (!stop) {
        ::kill(0, SIGUSR1);  // which may well kill the child
      }
    });
    for (int i = 0; i < 200; ++i) {
      LaunchProcess launch;
      launch.args = {"/bin/true"};
      launch.start();
    }
    stop = true;
    storm.join();
    ::_exit(strayed ? 1 : 0);
  });
  EXPECT_EQ(outcome, (test::Outcome{0, "", ""}));
}

TEST_F(LaunchProcessTest, tellsAndLogsHowTheChildEnded) {
  const struct {
    const char* script;
    int status;
    const char* logged;
  } cases[] = {{"exit 0", 0, nullptr},
               {"exit 3", 3, " (/bin/sh) exited with status 3"},
               {"kill -9 $$", -SIGKILL, " (/bin/sh) exited with signal SIGKILL"},
               {"kill -40 $$", -40, " (/bin/sh) exited with signal <unknown>"}};
  for (const auto& c : cases) {
    test::RecordingDest log("LaunchProcess:rec:100");
    LaunchProcess launch;
    shell(launch, c.script);
    launch.start();
    const std::string child = "100 LaunchProcess: child " + std::to_string(launch.pid);
    int status = 99;
    EXPECT_TRUE(launch.wait(&status, 5000));
    EXPECT_EQ(status, c.status);
    const std::string launching = std::string("100 LaunchProcess: Launching /bin/sh -c ") + c.script;
    std::vector<std::string> lines = {launching};
    if (c.logged != nullptr) {
      lines.push_back(child + c.logged);
    }
    EXPECT_EQ(log.lines(), lines);
    EXPECT_THAT(test::messageFrom([&] { launch.wait(nullptr, 0); }), HasSubstr("detached or not started"));
  }
  // Of a program that is cut short the kernel notices too late for execve to fail: it kills.
  std::string head(4096, '\0');
  std::ifstream("/bin/true").read(head.data(), 4096);
  dir.write("torn", head);
  ::chmod((dir / "torn").c_str(), 0755);
  LaunchProcess torn;
  torn.args = {(dir / "torn").c_str()};
  EXPECT_LT(statusOf(torn), 0);
}

TEST_F(LaunchProcessTest, waitsNoLongerThanToldOrNeeded) {
  LaunchProcess launch;
  launch.args = {"/bin/sleep", "100"};
  launch.start();
  const auto begin = steady_clock::now();
  EXPECT_FALSE(launch.wait(nullptr, 0));
  EXPECT_FALSE(launch.wait(nullptr, 70));
  const auto taken = steady_clock::now() - begin;
  EXPECT_GE(taken, std::chrono::milliseconds(65));
  EXPECT_LT(taken, std::chrono::seconds(5));
  os::killProcess(launch.pid, SIGTERM);
  int status = 0;
  EXPECT_TRUE(launch.wait(&status, 5000));
  EXPECT_EQ(status, -SIGTERM);
  EXPECT_EQ(test::messageFrom([] { os::killProcess(-1, SIGTERM); }), "kill(-1,SIGTERM): No such process (3)");

  const os::AppLoop loop;  // which wakes up at once, where there would be a second's sleep without it
  const Listener listener(SIGUSR1);
  LaunchProcess brief;
  brief.args = {"/bin/sleep", "0.1"};
  brief.start();
  EXPECT_TRUE(brief.wait(&status, 60'000));
  EXPECT_LT(steady_clock::now() - begin, std::chrono::milliseconds(900));
}

TEST_F(LaunchProcessTest, theDestructorWaitsForAChildThatIsNotDetached) {
  {
    LaunchProcess launch;
    shell(launch, ("sleep 0.1; echo done >" + dir / "done").c_str());
    launch.start();
  }
  EXPECT_TRUE(dir.exists("done"));
  test::RecordingDest log("LaunchProcess:rec:0");
  {
    LaunchProcess stolen;
    stolen.args = {"/bin/true"};
    stolen.start();
    ::waitpid(stolen.pid, nullptr, 0);
  }
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("~PidCleanup: [System-10] waitpid: No child processes (10)")));
}

TEST_F(LaunchProcessTest, detachedFromTheStartIsNobodysChildAndLeadsNoSession) {
  for (const bool execs : {true, false}) {
    LaunchProcess launch;
    launch.setDetachLevel(2);
    launch.redirectFile(false, 1, (dir / "stat").c_str(), false);
    const char* const script = "read -r line </proc/self/stat; echo $line";
    if (execs) {
      shell(launch, script);
    }
    if (!launch.start()) {
      ::execl("/bin/sh", "sh", "-c", script, nullptr);
    }
    EXPECT_EQ(launch.pid, -1);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    int pid = 0;
    int parent = ::getpid();
    int session = ::getsid(0);
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
  const Listener first(SIGUSR1);
  const Listener second(SIGUSR2);  // the highest one stays
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

TEST_F(LaunchProcessTest, theChildAsksForNoMemoryBesideThreadsThatDoWithoutPause) {
  const test::ChildAllocations allocations;
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&stop] {
      for (std::size_t size = 1; !stop; size = size % 5000 + 1) {
        std::vector<std::string> texts(20, std::string(size, 'x'));
        ASSERT_EQ(texts.back().size(), size);
      }
    });
  }
  const char* const programs[] = {"/bin/true", "/bin/true", "/no/such/program", ""};
  for (int i = 0; i < 200; ++i) {
    const char* const program = programs[i % 4];
    LaunchProcess launch;
    if (*program != '\0') {
      launch.args = {program};
    }
    launch.setDetachLevel(i % 5 == 0 ? 2 : 0);
    for (int to = 3; to < 12; ++to) {
      launch.redirectFile(true, to, "/dev/null", false);
    }
    try {
      if (!launch.start()) {
        ::_exit(0);
      }
      EXPECT_NE(i % 4, 2);
    } catch (const plat::SystemException& e) {
      EXPECT_EQ(e.err, ENOENT);
    }
    int status = 0;
    EXPECT_TRUE(launch.pid < 0 || launch.wait(&status, -1));
    EXPECT_EQ(status, 0);
  }
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(allocations.count(), 0);
  test::inChild([] {
    void* const volatile block = std::malloc(1);  // volatile: or the compiler leaves the pair of calls out
    std::free(block);
  });
  EXPECT_EQ(allocations.count() > 0, test::ChildAllocations::works);
}

TEST_F(LaunchProcessTest, runningOutOfDescriptorsIsToldAndLeaksNone) {
  rlimit before = {};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit tight = {200, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &tight);
  std::vector<int> held;
  for (int fd = 0; (fd = ::fcntl(0, F_DUPFD_CLOEXEC, 0)) >= 0;) {
    held.push_back(fd);
  }
  constexpr int Needed = 4;  // two files and a pipe
  for (int spare = 0; spare <= Needed; ++spare) {
    LaunchProcess launch;
    launch.args = {"/bin/true"};
    EXPECT_EQ(test::failureFrom([&] { launch.start(); }).err, spare < Needed ? EMFILE : -1);
    ::close(held.back());
    held.pop_back();
  }
  for (const int fd : held) {
    ::close(fd);
  }
  ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST_F(LaunchProcessTest, everyWayOfClosingLeavesWhatIsBelowAndWhatIsToStay) {
  const struct {
    const char* how;
    void (*close)();
  } cases[] = {{"by range", [] { os::closeFrom(20, 25); }},
               {"by listing", [] { os::closeListedFrom(20, 25) ? void() : ::_exit(98); }},
               {"by counting", [] { os::closeCountedFrom(20, 25); }}};
  for (const auto& c : cases) {
    const test::Outcome outcome = test::inChild([&c] {
      for (int fd = 18; fd < 1000; ++fd) {
        ::dup2(0, fd);
      }
      c.close();
      for (int fd = 18; fd < 1000; ++fd) {
        if ((::fcntl(fd, F_GETFD) >= 0) != (fd < 20 || fd == 25)) {
          throw plat::Exception(plat::Formatted, "%d", fd);
        }
      }
    });
    EXPECT_EQ(outcome.errors, "") << c.how;
    EXPECT_EQ(outcome.result, test::Returned) << c.how;
  }
  EXPECT_FALSE(os::closeListedFrom(1000, -1, "/no/such/folder"));
}

TEST_F(LaunchProcessTest, theStartErrorRecordIsNumberLengthAndText) {
  int fds[2];
  os::pipeCloseOnExec(fds);
  os::writeStartError(fds[1], 0x01020304, "dup2");
  os::writeStartError(fds[1], 2, std::string(300, 'x').c_str());
  char bytes[600];
  EXPECT_EQ(std::string(bytes, static_cast<std::size_t>(::read(fds[0], bytes, sizeof bytes))),
            std::string("\1\2\3\4\4dup2\0\0\0\2\xff", 14) + std::string(255, 'x'));
  ::close(fds[0]);
  ::close(fds[1]);
}

}  // namespace
