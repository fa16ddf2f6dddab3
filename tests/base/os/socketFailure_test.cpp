// Socket calls on systems that are old, or short of descriptors or memory.

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/os/socketOptions.h"
#include "base/os/socketUtil.h"
#include "base/os/unix/UnixIo.h"
#include "base/plat/DynamicFn.h"
#include "tests/support/TempDir.h"
#include "tests/support/openFds.h"
#include "tests/support/thrown.h"

namespace {

/// Answers setsockopt(SO_SNDBUF) in the system's place while it lives.
struct SendBufferRefusals {
  SendBufferRefusals(int errorCode, std::size_t times) : error(errorCode), count(times) { current = this; }
  ~SendBufferRefusals() { current = nullptr; }
  SendBufferRefusals(const SendBufferRefusals&) = delete;
  SendBufferRefusals& operator=(const SendBufferRefusals&) = delete;

  static inline SendBufferRefusals* current = nullptr;
  int error;
  std::size_t count;
  std::vector<int> sizes;  // asked for
};

}  // namespace

extern "C" int setsockopt(int fd, int level, int name, const void* value, socklen_t length) noexcept {
  SendBufferRefusals* const refusals = SendBufferRefusals::current;
  if (refusals != nullptr && level == SOL_SOCKET && name == SO_SNDBUF) {
    refusals->sizes.push_back(*static_cast<const int*>(value));
    if (refusals->sizes.size() <= refusals->count) {
      errno = refusals->error;
      return -1;
    }
  }
  return static_cast<int>(::syscall(SYS_setsockopt, fd, level, name, value, length));
}

namespace {

int sendBuffer(int fd) {
  int value = -1;
  socklen_t length = sizeof value;
  ::getsockopt(fd, SOL_SOCKET, SO_SNDBUF, &value, &length);
  return value;
}

TEST(SocketFailure, aBufferTooLargeIsAskedForInSmallerSizes) {
  constexpr int Size = 100003;
  const int fd = os::openSocket(AF_INET, SOCK_DGRAM, 0);
  const int least = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
  const int present = sendBuffer(fd);
  const auto grow = [fd] { return os::growSocketBuffer(fd, Size, SO_SNDBUF, "SO_SNDBUF"); };
  {
    const SendBufferRefusals always(ENOMEM, 1000);
    EXPECT_EQ(grow(), present);
    EXPECT_GT(always.sizes.back(), present);
    EXPECT_LE(always.sizes.back() / 5 * 4, present);
  }
  {
    const SendBufferRefusals other(EPERM, 1);
    const plat::SystemException failure = test::failureFrom(grow);
    EXPECT_THAT(failure.message, testing::StartsWith("setsockopt(SO_SNDBUF): "));
    EXPECT_EQ(failure.err, EPERM);
  }
  EXPECT_EQ(sendBuffer(fd), present);
  const SendBufferRefusals twice(ENOBUFS, 2);
  const int grown = grow();
  EXPECT_EQ(grown, sendBuffer(fd));
  EXPECT_GT(grown, present);
  EXPECT_THAT(twice.sizes, testing::ElementsAre(Size, 80000, 64000));
  ::close(fd);
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

int listenOnLoopback(sockaddr_in& address) {
  address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  const int fd = os::bindSocket(generic, sizeof address, SOCK_STREAM, false);
  socklen_t length = sizeof address;
  ::getsockname(fd, generic, &length);
  EXPECT_EQ(::listen(fd, 5), 0);
  return fd;
}

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
  sockaddr_in address;
  const int listener = listenOnLoopback(address);
  const int client = os::connectNew(reinterpret_cast<sockaddr*>(&address), sizeof address, SOCK_STREAM, true);
  const int accepted = os::acceptSocket(listener);
  int fds[2];
  os::pipeCloseOnExec(fds);
  EXPECT_EQ(::write(fds[1], "x", 1), 1);
  for (const int fd : {accepted, fds[0], fds[1]}) {
    EXPECT_FALSE(os::getInheritable(fd));
    ::close(fd);
  }
  ::close(client);
  const int waiting = os::connectNew(reinterpret_cast<sockaddr*>(&address), sizeof address, SOCK_STREAM, true);
  std::string words;
  {
    const FewDescriptors one(1);
    words = test::failureFrom([&fds] { os::pipeCloseOnExec(fds); }).message;
    const FewDescriptors none(0);
    const plat::SystemException failure = test::failureFrom([listener] { os::acceptSocket(listener); });
    EXPECT_EQ(failure.err, EMFILE);
    EXPECT_THAT(failure.message, testing::StartsWith("accept: "));
  }
  ::close(waiting);
  ::close(listener);
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

TEST(SocketFailure, withoutDescriptorsEachCallSaysWhatItWanted) {
  const test::TempDir dir;
  const std::string path = dir / "socket";
  const auto before = test::openFds();
  int fds[2];
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
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
    EXPECT_EQ(failure([&] { os::bindSocket(generic, sizeof address, SOCK_STREAM, true); }), "socket");
    EXPECT_EQ(failure([&] { os::connectNew(generic, sizeof address, SOCK_DGRAM, false); }), "socket");
    EXPECT_EQ(failure([&] { os::UnixIo(path.c_str(), -1, false); }), "socket");
    EXPECT_EQ(failure([&] { os::UnixIo::canConnect(path.c_str(), true); }), "socket");
  }
  EXPECT_EQ(test::openFds(), before);
}

}  // namespace
