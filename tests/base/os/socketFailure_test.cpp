// Socket calls on systems that are old, or short of descriptors or memory.

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/os/socketOptions.h"
#include "base/os/socketUtil.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/DynamicFn.h"
#include "tests/support/TempDir.h"
#include "tests/support/openFds.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

/// Answers setsockopt in the system's place, for one option and as often as told, while it lives.
struct Refusals {
  Refusals(int ofLevel, int ofOption, int errorCode, std::size_t times)
      : level(ofLevel), option(ofOption), error(errorCode), count(times) {
    current = this;
  }
  ~Refusals() { current = nullptr; }
  Refusals(const Refusals&) = delete;
  Refusals& operator=(const Refusals&) = delete;

  static inline Refusals* current = nullptr;
  int level;
  int option;
  int error;
  std::size_t count;
  std::vector<int> values;  // asked for
};

}  // namespace

extern "C" int setsockopt(int fd, int level, int name, const void* value, socklen_t length) noexcept {
  Refusals* const refusals = Refusals::current;
  if (refusals != nullptr && level == refusals->level && name == refusals->option) {
    refusals->values.push_back(*static_cast<const int*>(value));
    if (refusals->values.size() <= refusals->count) {
      errno = refusals->error;
      return -1;
    }
  }
  return static_cast<int>(::syscall(SYS_setsockopt, fd, level, name, value, length));
}

namespace {

using test::Fd;

int sendBuffer(int fd) {
  return test::intOption(fd, SOL_SOCKET, SO_SNDBUF);
}

TEST(SocketFailure, aBufferTooLargeIsAskedForInSmallerSizes) {
  constexpr int Size = 100003;
  const Fd fd(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  const int least = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
  const int present = sendBuffer(fd);
  const auto grow = [&fd] { return os::growSocketBuffer(fd, Size, SO_SNDBUF, "SO_SNDBUF"); };
  {
    const Refusals always(SOL_SOCKET, SO_SNDBUF, ENOMEM, 1000);
    EXPECT_EQ(grow(), present);
    EXPECT_GT(always.values.back(), present);
    EXPECT_LE(always.values.back() / 5 * 4, present);
  }
  {
    const Refusals other(SOL_SOCKET, SO_SNDBUF, EPERM, 1);
    const plat::SystemException failure = test::failureFrom(grow);
    EXPECT_THAT(failure.message, testing::StartsWith("setsockopt(SO_SNDBUF): "));
    EXPECT_EQ(failure.err, EPERM);
  }
  EXPECT_EQ(sendBuffer(fd), present);
  const Refusals twice(SOL_SOCKET, SO_SNDBUF, ENOBUFS, 2);
  const int grown = grow();
  EXPECT_EQ(grown, sendBuffer(fd));
  EXPECT_GT(grown, present);
  EXPECT_THAT(twice.values, testing::ElementsAre(Size, 80000, 64000));
}

TEST(SocketFailure, pathMtuDiscoveryFallsBackOnTheOlderMode) {
  const Fd fd(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  const struct {
    int family;
    int option;  // of the IP level, for both
  } cases[] = {{AF_INET, 10}, {AF_INET6, 23}};
  for (const auto& c : cases) {
    const Refusals once(0, c.option, EINVAL, 1);
    EXPECT_TRUE(os::setPathMtuDiscovery(fd, c.family, true));
    EXPECT_THAT(once.values, testing::ElementsAre(3, 2));
  }
}

/// Lets the process open `spare` more descriptors, while it lives.
class FewDescriptors {
public:
  explicit FewDescriptors(unsigned spare) {
    ::getrlimit(RLIMIT_NOFILE, &found_);
    const int lowest = ::dup(0);
    ::close(lowest);
    const rlimit few = {static_cast<rlim_t>(lowest) + spare, found_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &found_); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
  rlimit found_ = {};
};

/// Has the functions that may be missing looked up anew, by `hook`; the system's are back at the end.
class LookedUpBy {
public:
  explicit LookedUpBy(plat::DynamicFn::Hook hook) : former_(plat::DynamicFn::setHook(std::move(hook))) { forget(); }
  ~LookedUpBy() {
    plat::DynamicFn::setHook(std::move(former_));
    forget();
  }
  LookedUpBy(const LookedUpBy&) = delete;
  LookedUpBy& operator=(const LookedUpBy&) = delete;

private:
  static void forget() {
    os::latePipe2.forget();
    os::lateAccept4.forget();
  }
  plat::DynamicFn::Hook former_;
};

/// A pipe and an accepted connection work and are not inherited; then both fail for want of descriptors.
std::string usePipeAndAccept() {
  const Fd listener(test::bindTo(io::IpInfo("127.0.0.1", 0)));
  EXPECT_EQ(::listen(listener, 5), 0);
  const Fd client(test::connectTo(test::localAddress(listener)));
  int fds[2];
  os::pipeCloseOnExec(fds);
  EXPECT_EQ(::write(fds[1], "x", 1), 1);
  for (const int fd : {os::acceptSocket(listener), fds[0], fds[1]}) {
    EXPECT_FALSE(os::getInheritable(fd));
    ::close(fd);
  }
  const Fd waiting(test::connectTo(test::localAddress(listener)));
  const FewDescriptors one(1);
  const std::string words = test::failureFrom([&fds] { os::pipeCloseOnExec(fds); }).message;
  const FewDescriptors none(0);
  const plat::SystemException failure = test::failureFrom([&listener] { os::acceptSocket(listener); });
  EXPECT_EQ(failure.err, EMFILE);
  EXPECT_THAT(failure.message, testing::StartsWith("accept: "));
  return words.substr(0, words.find(':'));
}

TEST(SocketFailure, whatTheSystemLibraryLacksIsDoneInTheOldWay) {
  const auto before = test::openFds();
  {
    std::vector<std::string> asked;
    const LookedUpBy missing([&asked](const char* library, const char* symbols) -> void* {
      asked.push_back(std::string(library) + " " + symbols);
      return nullptr;
    });
    EXPECT_EQ(usePipeAndAccept(), "pipe");
    EXPECT_EQ(usePipeAndAccept(), "pipe");
    EXPECT_THAT(asked, testing::UnorderedElementsAre("c[6,7] accept4", "c[6,7] pipe2")) << "once each";
  }
  EXPECT_EQ(usePipeAndAccept(), "pipe2");
  EXPECT_EQ(test::openFds(), before);
}

int acceptError = 0;  // what the system says next; from the second call on "out of descriptors"
int acceptCalls = 0;

int failingAccept(int, sockaddr*, socklen_t*, int) {
  errno = acceptCalls++ == 0 ? acceptError : EMFILE;
  return -1;
}

TEST(SocketFailure, aConnectionLostBeforeItIsAcceptedIsNoFailure) {
  const LookedUpBy failing([](const char*, const char*) { return reinterpret_cast<void*>(&failingAccept); });
  const struct {
    int error;
    int raised;  // -1: nothing
    int calls;
  } cases[] = {{ECONNABORTED, -1, 1}, {EAGAIN, -1, 1}, {EPERM, -1, 1}, {EINTR, EMFILE, 2}, {ENOBUFS, ENOBUFS, 1}};
  for (const auto& c : cases) {
    acceptError = c.error;
    acceptCalls = 0;
    EXPECT_EQ(test::failureFrom([] { EXPECT_EQ(os::acceptSocket(0), -1); }).err, c.raised) << c.error;
    EXPECT_EQ(acceptCalls, c.calls);
  }
}

TEST(SocketFailure, withoutDescriptorsEachCallSaysWhatItWanted) {
  const test::TempDir dir;
  const std::string path = dir / "socket";
  const auto before = test::openFds();
  int fds[2];
  const io::IpInfo address("127.0.0.1", 0);
  const auto failure = [](const auto& call) {
    const plat::SystemException e = test::failureFrom(call);
    EXPECT_EQ(e.err, EMFILE);
    const std::string message = e.message;
    return message.substr(0, message.find(": "));
  };
  {
    const FewDescriptors one(1);
    EXPECT_EQ(failure([&] { os::socketPairCloseOnExec(fds); }), "socketpair");
    const FewDescriptors none(0);
    EXPECT_EQ(failure([&] { os::dupCloseOnExec(0); }), "fcntl(F_DUPFD_CLOEXEC)");
    EXPECT_EQ(failure([&] { test::bindTo(address, SOCK_STREAM, true); }), "socket");
    EXPECT_EQ(failure([&] { test::connectTo(address, SOCK_DGRAM); }), "socket");
    EXPECT_EQ(failure([&] { os::UnixIo(path.c_str(), -1, false); }), "socket");
    EXPECT_EQ(failure([&] { os::UnixIo::canConnect(path.c_str(), true); }), "socket");
  }
  EXPECT_EQ(test::openFds(), before);
}

}  // namespace
