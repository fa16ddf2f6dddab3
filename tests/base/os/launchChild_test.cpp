// The child of a launch between fork and exec, where it may share this process's memory.

#include "base/os/launchChild.h"

#include <atomic>

#include <sys/mman.h>

#include "base/os/LaunchProcess.h"
#include "base/os/startError.h"
#include "base/os/unix/closeFrom.h"
#include "tests/base/io/FdPair.h"
#include "tests/base/os/inChild.h"
#include "tests/support/prelude.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZED
#endif
#endif

namespace {

/// In `watched`'s children, how often they have asked for memory before they have executed a program, be it in memory
/// of their own or in this process's; itself in memory that a fork shares.
std::atomic<int>* const counter =
    new (::mmap(nullptr, sizeof *counter, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
        std::atomic<int>(0);
constinit std::atomic<pid_t> watched = 0;

}  // namespace

#ifndef SANITIZED  // which brings its own
extern "C" void* __libc_malloc(std::size_t size);

// In the place of the system library's own, whose other functions go on working with it.
extern "C" void* malloc(std::size_t size) noexcept {
  if (const pid_t parent = watched; parent != 0 && ::getpid() != parent) {
    ++*counter;
  }
  return __libc_malloc(size);
}
#endif

namespace {

using os::LaunchProcess;

TEST(LaunchChild, asksForNoMemoryBesideThreadsThatDoWithoutPause) {
  watched = ::getpid();
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
  for (int i = 0; i < 200; ++i) {
    LaunchProcess launch;
    if (i % 4 != 0) {
      launch.args = {i % 4 == 1 ? "/no/such/program" : "/bin/true"};
    }
    launch.setDetachLevel(i % 5 == 0 ? 2 : 0);
    for (int to = 3; to < 12; ++to) {
      launch.redirectFile(true, to, "/dev/null", false);
    }
    const int failure = test::failureFrom([&launch] { launch.start() ? void() : ::_exit(0); }).err;
    EXPECT_EQ(failure, i % 4 == 1 ? ENOENT : -1);
    int status = 0;
    EXPECT_TRUE(launch.pid < 0 || launch.wait(&status, -1));
    EXPECT_EQ(status, 0);
  }
  stop = true;
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(*counter, 0);
#ifndef SANITIZED
  test::inChild([] {
    void* const volatile block = std::malloc(1);  // volatile: or the compiler leaves the pair of calls out
    std::free(block);
  });
  EXPECT_GT(*counter, 0);
#endif
  watched = 0;
}

TEST(LaunchChild, runsNoHandlerOfTheParent) {
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

TEST(LaunchChild, leavesWhatIsBelowAndWhatIsToStayInEveryWayOfClosing) {
  const std::pair<const char*, void (*)()> cases[] = {
      {"by range", [] { os::closeFrom(20, 25); }},
      {"by listing", [] { os::closeListedFrom(20, 25) ? void() : ::_exit(98); }},
      {"by counting", [] { os::closeCountedFrom(20, 25); }}};
  for (const auto& way : cases) {
    const test::Outcome outcome = test::inChild([&way] {
      for (int fd = 18; fd < 1000; ++fd) {
        ::dup2(0, fd);
      }
      way.second();
      for (int fd = 18; fd < 1000; ++fd) {
        if ((::fcntl(fd, F_GETFD) >= 0) != (fd < 20 || fd == 25)) {
          throw plat::Exception(plat::Formatted, "%d", fd);
        }
      }
    });
    EXPECT_EQ(outcome, (test::Outcome{test::Returned, "", ""})) << way.first;
  }
  EXPECT_FALSE(os::closeListedFrom(1000, -1, "/no/such/folder"));
}

TEST(LaunchChild, tellsItsFailureAsNumberLengthAndText) {
  test::FdPair pipe;
  os::writeStartError(pipe.near(), 0x01020304, "dup2");
  os::writeStartError(pipe.near(), 2, std::string(300, 'x').c_str());
  EXPECT_EQ(pipe.receive(), std::string("\1\2\3\4\4dup2\0\0\0\2\xff", 14) + std::string(255, 'x'));
}

}  // namespace
