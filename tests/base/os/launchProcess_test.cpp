#include "base/os/LaunchProcess.h"

#include "base/os/AppLoop.h"
#include "base/os/SignalHandler.h"
#include "base/os/childExit.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/unix/closeFrom.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/StringParameter.h"
#include "tests/base/os/inChild.h"
#include "tests/support/prelude.h"

namespace {

using namespace testing;
using os::LaunchProcess;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

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
/// How it ends.
int statusOf(const Launch& launch) {
  int status = 99;
  EXPECT_TRUE(launch->wait(&status, -1));
  return status;
}

/// Every test leaves as many descriptors as it found, and no child, be it alive or a zombie.
class LaunchProcessTest : public Test {
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

  /// What it prints until its end, which it comes to well. Without a program, it runs `child`.
  static std::string outputOf(const Launch& launch, const std::function<void()>& child = nullptr) {
    int fds[2];
    os::pipeCloseOnExec(fds);
    const test::Fd in(fds[0]);
    launch->childDup[1] = fds[1];
    if (!launch->start()) {
      child();
      ::_exit(0);
    }
    char buffer[1000];
    std::string output;
    for (ssize_t n; (n = ::read(in, buffer, sizeof buffer)) > 0;) {
      output.append(buffer, static_cast<std::size_t>(n));
    }
    EXPECT_TRUE(launch->pid < 0 || statusOf(launch) == 0);
    return output;
  }

  test::TempDir dir;
  const std::set<int> descriptorsBefore = test::openFds();
};

TEST_F(LaunchProcessTest, passesArgumentsAndEnvironmentAndNothingElse) {
  ASSERT_EQ(::setenv("LAUNCH_TEST", "kept", 1), 0);
  EXPECT_EQ(outputOf(program({"/bin/sh", "-c", "printf '[%s]' \"$@\"", "sh", "", "a b", "'\""})), "[][a b]['\"]");
  const Launch bare = program({"env"});
  bare->searchPath = true;
  bare->environment = {{"EMPTY", ""}, {"PATH", "/nowhere"}};
  EXPECT_EQ(outputOf(bare), "EMPTY=\nPATH=/nowhere\n");
  const Launch inherits = shell("echo $LAUNCH_TEST");
  inherits->inheritEnvironment();
  EXPECT_EQ(outputOf(inherits), "kept\n");
}

TEST_F(LaunchProcessTest, aFailedOrSenselessStartIsAnExceptionHereAndNoChild) {
  for (const int level : {0, 1, 2}) {
    for (const int highest : {1, 60}) {  // above 1, the pipe for the error is in the way
      const Launch launch = program({"/no/such/program"});
      launch->setDetachLevel(level);
      launch->redirectFile(true, 0, "/dev/null", false);
      for (int to = 1; to <= highest; ++to) {
        launch->redirectDup2(0, to);
      }
      EXPECT_EQ(startFailure(launch), "execve(/no/such/program): No such file or directory (2)");
      EXPECT_EQ(launch->pid, -1);
      EXPECT_THAT(startFailure(launch), HasSubstr("'!used'"));
    }
  }
  for (const auto& [to, from, call] : {std::tuple(5, 999, "dup2"), std::tuple(900, 900, "fcntl")}) {
    const Launch launch = program({"/bin/true"});
    launch->childDup[to] = from;
    EXPECT_EQ(startFailure(launch), std::string(call) + ": Bad file descriptor (9)");
  }

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
  // The files are opened as these numbers, and so named 3, 4 and 5 in the child: straight, swapped, in a ring, far.
  const std::vector<int> orders[] = {{3, 4, 5}, {4, 3, 5}, {4, 5, 3}, {30, 31, 32}};
  for (const std::vector<int>& order : orders) {
    // In a child, as the numbers may be in use here.
    const test::Outcome outcome = test::inChild([&] {
      os::closeFrom(3);
      const Launch launch = shell("cat <&3 >&9; cat <&4; cat <&5");
      for (int i : {0, 1, 2}) {
        ::dup3(::open((dir / files[i]).c_str(), O_RDONLY | O_CLOEXEC), 50 + i, O_CLOEXEC);
      }
      for (int i : {0, 1, 2}) {
        launch->childDup[3 + i] = ::dup3(50 + i, order[static_cast<std::size_t>(i)], O_CLOEXEC);
      }
      launch->childDup[1] = ::fcntl(1, F_DUPFD_CLOEXEC, 60);
      launch->redirectDup2(1, 9);
      launch->start();
      ::_exit(statusOf(launch));
    });
    EXPECT_EQ(outcome, (test::Outcome{0, "abc", ""})) << PrintToString(order);
  }
}

TEST_F(LaunchProcessTest, theChildHasNoDescriptorThatItWasNotGiven) {
  const int forgotten = ::fcntl(0, F_DUPFD, 40);
  EXPECT_EQ(outputOf(program({"/bin/ls", "/proc/self/fd"})), "0\n1\n2\n3\n") << "the last one is the listing's";
  const Launch gaps = program({"/bin/ls", "/proc/self/fd"});
  for (int fd = 2; fd <= forgotten; ++fd) {
    gaps->closeInChild.insert(fd);
  }
  gaps->childDup[forgotten + 1] = ::fcntl(0, F_DUPFD_CLOEXEC, 50);
  EXPECT_EQ(outputOf(gaps), "0\n1\n2\n" + std::to_string(forgotten + 1) + "\n");
  EXPECT_EQ(outputOf(shell("readlink /proc/self/fd/0")), "/dev/null\n");
  ::close(forgotten);
}

TEST_F(LaunchProcessTest, redirectsToFilesAtTheirEndOrAnew) {
  for (const bool append : {false, true}) {
    dir.write("file", "old ");
    const Launch launch = shell("echo new >&4");
    launch->redirectFile(true, 4, "/dev/null", false);
    launch->redirectFile(false, 4, (dir / "file").c_str(), append);  // in the place of the former
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
    sigset_t mask, after;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
    std::printf("%s", outputOf(program({"/bin/sed", "-n", "/Sig[BI]/p", "/proc/self/status"})).c_str());
    ::sigprocmask(SIG_SETMASK, nullptr, &after);
    std::fflush(stdout);
    ::_exit(std::memcmp(&after, &mask, sizeof(long)));
  });
  EXPECT_EQ(outcome, (test::Outcome{0, "SigBlk:\t0000000000004000\nSigIgn:\t0000000000000001\n", ""}));
}

TEST_F(LaunchProcessTest, tellsAndLogsHowTheChildEnded) {
  for (const auto& [script, status, ending] :
       {std::tuple("exit 3", 3, "status 3"), {"kill -40 $$", -40, "signal <unknown>"}}) {
    test::RecordingDest log("LaunchProcess:rec:100");
    const Launch launch = shell(script);
    launch->start();
    const std::string child = "100 LaunchProcess: child " + std::to_string(launch->pid);
    EXPECT_EQ(statusOf(launch), status);
    EXPECT_THAT(log.lines(), ElementsAre(std::string("100 LaunchProcess: Launching /bin/sh -c ") + script,
                                         child + " (/bin/sh) exited with " + ending));
    EXPECT_THAT(test::messageFrom([&launch] { launch->wait(nullptr, 0); }), HasSubstr("detached or not started"));
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
  // Signal 0, as any other would reach every process if it were sent.
  EXPECT_EQ(test::messageFrom([] { os::killProcess(-1, 0); }), "kill(-1,<unknown>): No such process (3)");

  const os::AppLoop loop;  // which wakes up at once, where there would be a second's sleep without it
  const Listener listener(SIGUSR1);
  const Launch brief = program({"/bin/sleep", "0.1"});
  begin = steady_clock::now();
  brief->start();
  EXPECT_TRUE(brief->wait(&status, 60'000));
  EXPECT_LT(steady_clock::now() - begin, milliseconds(900));

  test::RecordingDest log("LaunchProcess:rec:0");
  shell("sleep 0.1; echo done >" + dir / "done")->start();
  EXPECT_TRUE(dir.exists("done")) << "the destructor waits";
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
    if (!execs) {
      launch->args.clear();
    }
    const std::string stat = outputOf(launch, [script] { ::execl("/bin/sh", "sh", "-c", script, nullptr); });
    EXPECT_EQ(launch->pid, -1);
    int pid = 0, parent = 0, session = 0;
    EXPECT_EQ(std::sscanf(stat.c_str(), "%d (sh) %*c %d %*d %d", &pid, &parent, &session), 3) << stat;
    EXPECT_NE(pid, session);
    EXPECT_NE(parent, ::getpid());
    EXPECT_NE(session, ::getsid(0));
  }
}

TEST_F(LaunchProcessTest, aChildWithoutProgramRunsOnWithoutTheHandlersOfItsParent) {
  const os::AppLoop loop;
  const Listener lowest(SIGHUP), middle(SIGUSR1), highest(SIGUSR2);
  const Launch launch = program({});
  launch->elevate = ::geteuid() == 0;  // which root needs not
  const std::string seen = outputOf(launch, [&launch] {
    ::dprintf(1, "%d %zu", launch->pid, launch->childDup.size());
    for (int sig : {SIGHUP, SIGUSR1, SIGUSR2}) {
      ::dprintf(1, ::signal(sig, SIG_DFL) == SIG_DFL ? " default" : " handled");
    }
  });
  EXPECT_EQ(seen, "-1 0 default default handled") << "the highest one is left alone";
}

TEST_F(LaunchProcessTest, runningOutOfDescriptorsIsToldAndLeaksNone) {
  constexpr int Needed = 4;  // two files and a pipe
  for (int spare = 0; spare <= Needed; ++spare) {
    const Launch launch = program({"/bin/true"});
    const test::FdLimit few = test::fewDescriptors(spare);
    EXPECT_EQ(test::failureFrom([&launch] { launch->start(); }).err, spare < Needed ? EMFILE : -1);
  }
}

}  // namespace
