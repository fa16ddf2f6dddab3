// Socket calls, also on systems that are old, or short of descriptors or memory.

#include "base/os/socket/socketUtil.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/os/UnixIo.h"
#include "base/os/socket/socketOptions.h"
#include "base/os/unix/DynamicFn.h"
#include "tests/support/FewDescriptors.h"
#include "tests/support/RecordingDest.h"
#include "tests/support/openFds.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

/// For which option, and how often, setsockopt answers in the system's place.
struct Refusals {
  int level = -1, option = 0, error = 0;
  std::size_t count = 0;
  std::vector<int> values = {};  // asked for
};
Refusals refusals;

}  // namespace

extern "C" int setsockopt(int fd, int level, int name, const void* value, socklen_t length) noexcept {
  if (level == refusals.level && name == refusals.option) {
    refusals.values.push_back(*static_cast<const int*>(value));
    if (refusals.values.size() <= refusals.count) {
      errno = refusals.error;
      return -1;
    }
  }
  return static_cast<int>(::syscall(SYS_setsockopt, fd, level, name, value, length));
}

namespace {

using io::IpInfo;
using test::bindTo;
using test::connectTo;
using test::Fd;
using test::FewDescriptors;
using test::intOption;
using test::localAddress;
using testing::ElementsAre;

/// The operation that the call says has failed, and its errno.
template <class Call>
std::string raisedBy(const Call& call) {
  const plat::SystemException failure = test::failureFrom(call);
  const std::string message = failure.message;
  return message.substr(0, message.find(": ")) + " " + std::to_string(failure.err);
}

struct Surroundings {
  rlim_t limit;
  sighandler_t sigPipe;
  bool operator==(const Surroundings&) const = default;

  static Surroundings present() {
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    struct sigaction action = {};
    ::sigaction(SIGPIPE, nullptr, &action);
    return {limit.rlim_cur, action.sa_handler};
  }
  static void limitTo(rlim_t soft) {
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = soft;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
};

/// For a process of its own, started afresh: the initialisation is done once.
[[noreturn]] void checkInit(const Surroundings& found, const Surroundings& during) {
  Surroundings::limitTo(found.limit);
  ::signal(SIGPIPE, found.sigPipe);
  os::socketInit();
  EXPECT_EQ(Surroundings::present(), during);
  Surroundings::limitTo(600);
  os::socketInit();
  os::socketRestoreForExec(false);
  EXPECT_EQ(Surroundings::present(), (Surroundings{600, SIG_DFL})) << "not again, and not asked to restore the limit";
  os::socketRestoreForExec(true);
  EXPECT_EQ(Surroundings::present().limit, found.limit);
  std::_Exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(SocketInitDeathTest, limitsDescriptorsAndIgnoresSigPipeUntilTheNextProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  void (*const own)(int) = [](int) {};
  EXPECT_EXIT(checkInit({4096, SIG_DFL}, {1024, SIG_IGN}), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(checkInit({700, own}, {700, own}), testing::ExitedWithCode(0), "");
  GTEST_FLAG_SET(death_test_style, "fast");
}

TEST(SocketUtil, whatIsMadeIsNotInherited) {
  int pipeFds[2], socketFds[2];
  os::pipeCloseOnExec(pipeFds);
  os::socketPairCloseOnExec(socketFds);
  const Fd a(pipeFds[0]), b(pipeFds[1]), c(socketFds[0]), d(socketFds[1]);
  const Fd copy(os::dupCloseOnExec(a));
  const Fd second(os::openSocket(AF_INET, SOCK_STREAM, 0));
  const Fd target(::dup(a));
  EXPECT_TRUE(os::getInheritable(target));
  os::dup2CloseOnExec(b, target);
  for (const Fd* fd : {&a, &b, &c, &d, &copy, &second, &target}) {
    EXPECT_FALSE(os::getInheritable(*fd));
  }
  EXPECT_EQ(::write(target, "x", 1), 1) << "a copy of the writing end";
  EXPECT_EQ(::write(d, "x", 1), 1) << "connected";
  os::setInheritableOrThrow(a, true, false);
  EXPECT_TRUE(os::getInheritable(a));
}

TEST(SocketUtil, callsThatFailSayWhatWasTried) {
  EXPECT_EQ(raisedBy([] { os::setInheritableOrThrow(-1, false, true); }), "setInheritable 9");
  EXPECT_EQ(raisedBy([] { os::getInheritable(-1); }), "getInheritable 9");
  EXPECT_EQ(raisedBy([] { os::setBlocking(-1, true); }), "setBlocking 9");
  EXPECT_EQ(raisedBy([] { os::dupCloseOnExec(-1); }), "fcntl(F_DUPFD_CLOEXEC) 9");
  EXPECT_EQ(raisedBy([] { os::dup2CloseOnExec(-1, 20); }), "dup2 9");
  EXPECT_EQ(raisedBy([] { os::acceptSocket(-1); }), "accept 9");
  EXPECT_EQ(raisedBy([] { os::setReceiveBuffer(-1, 1); }), "getsockopt(SO_RCVBUF) 9");
  EXPECT_EQ(os::openSocket(12345, SOCK_STREAM, 0), -1);
  const Fd fd(::dup(0));
  EXPECT_EQ(raisedBy([&] { os::dup2CloseOnExec(fd, fd); }), "dup2 22");
  EXPECT_FALSE(os::getInheritable(Fd(os::dupCloseOnExec(fd)))) << "a failure before spoils nothing";

  const auto before = test::openFds();
  int fds[2];
  const IpInfo address("127.0.0.1", 0);
  {
    const FewDescriptors one(1);
    EXPECT_EQ(raisedBy([&] { os::socketPairCloseOnExec(fds); }), "socketpair 24");
  }
  {
    const FewDescriptors none(0);
    EXPECT_EQ(raisedBy([&] { os::dupCloseOnExec(0); }), "fcntl(F_DUPFD_CLOEXEC) 24");
    EXPECT_EQ(raisedBy([&] { bindTo(address, SOCK_STREAM, true); }), "socket 24");
    EXPECT_EQ(raisedBy([&] { connectTo(address, SOCK_DGRAM); }), "socket 24");
    EXPECT_EQ(raisedBy([&] { os::UnixIo("/any", -1, false); }), "socket 24");
    EXPECT_EQ(raisedBy([&] { os::UnixIo::canConnect("/any", true); }), "socket 24");
  }
  EXPECT_EQ(test::openFds(), before);
}

TEST(SocketUtil, connectsAndAccepts) {
  const Fd listener(bindTo(IpInfo("127.0.0.1", 0)));
  ASSERT_EQ(::listen(listener, 5), 0);
  os::setDscp(10);
  for (const bool blocking : {true, false}) {
    const Fd client(connectTo(localAddress(listener), SOCK_STREAM, blocking));
    EXPECT_EQ((::fcntl(client, F_GETFL) & O_NONBLOCK) == 0, blocking);
    const Fd accepted(os::acceptSocket(listener));
    EXPECT_EQ(intOption(client, IPPROTO_IP, IP_TOS), 0);
    EXPECT_EQ(intOption(accepted, IPPROTO_IP, IP_TOS), 40);
  }
  os::setDscp(0);
  EXPECT_EQ(intOption(listener, SOL_SOCKET, SO_REUSEADDR), 1);
}

TEST(SocketUtil, datagramsShareAPortOnRequestAndCarryTheTrafficClass) {
  os::setDscp(10);
  const Fd first(bindTo(IpInfo("127.0.0.1", 0), SOCK_DGRAM, true));
  EXPECT_EQ(intOption(first, IPPROTO_IP, IP_TOS), 40);
  EXPECT_EQ(intOption(first, SOL_SOCKET, SO_REUSEADDR), 0);
  if (Fd(::socket(AF_INET6, SOCK_DGRAM, 0)) >= 0) {
    const Fd fd(bindTo(IpInfo("::", 0), SOCK_DGRAM));
    EXPECT_EQ(intOption(fd, IPPROTO_IPV6, IPV6_V6ONLY), 1) << "the IPv4 port is left alone";
    EXPECT_EQ(intOption(fd, IPPROTO_IPV6, IPV6_TCLASS), 40);
  }
  test::RecordingDest log("SocketUtil:rec:100");
  os::applyDscp(Fd(os::openSocket(AF_UNIX, SOCK_STREAM, 0)));
  os::applyDscpIfValid(-1);
  EXPECT_THAT(log.lines(), testing::IsEmpty()) << "not for other families";
  os::setDscp(0);
  const Fd second(bindTo(localAddress(first), SOCK_DGRAM, true));
  EXPECT_EQ(localAddress(second), localAddress(first));
  EXPECT_EQ(intOption(second, IPPROTO_IP, IP_TOS), 0);
}

TEST(SocketOptions, buffersGrowNeverShrinkAndAreAskedForInSmallerSizesIfTooLarge) {
  const Fd fd(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  const auto sendBuffer = [&fd] { return intOption(fd, SOL_SOCKET, SO_SNDBUF); };
  const auto grow = [&fd](int size) { return os::growSocketBuffer(fd, size, SO_SNDBUF, "SO_SNDBUF"); };
  const int least = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
  const int present = sendBuffer();
  for (int size : {-1, 0, 1, present - 1, present}) {
    EXPECT_EQ(grow(size), present) << size;
  }
  constexpr int Size = 100003;
  refusals = {SOL_SOCKET, SO_SNDBUF, ENOMEM, 1000};
  EXPECT_EQ(grow(Size), present);
  EXPECT_GT(refusals.values.back(), present);
  EXPECT_LE(refusals.values.back() / 5 * 4, present);
  refusals = {SOL_SOCKET, SO_SNDBUF, EPERM, 1};
  EXPECT_EQ(raisedBy([&] { grow(Size); }), "setsockopt(SO_SNDBUF) 1");
  EXPECT_EQ(sendBuffer(), present);
  refusals = {SOL_SOCKET, SO_SNDBUF, ENOBUFS, 2};
  test::RecordingDest log("SocketUtil:rec:100");
  os::setSendBuffer(fd, Size);
  EXPECT_THAT(std::exchange(refusals, {}).values, ElementsAre(Size, 80000, 64000));
  EXPECT_GT(sendBuffer(), present);
  EXPECT_THAT(log.lines(),
              ElementsAre("100 SocketUtil: Using send buffer size of " + std::to_string(sendBuffer() / 1024) + " KiB"));
}

TEST(SocketOptions, pathMtuDiscoveryFallsBackOnTheOlderMode) {
  const Fd fd(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  for (const bool on : {true, false}) {
    EXPECT_TRUE(os::setPathMtuDiscovery(fd, AF_INET, on));
    EXPECT_EQ(intOption(fd, IPPROTO_IP, IP_MTU_DISCOVER), on ? 3 : 0);
  }
  for (const auto& [family, option] : {std::pair(AF_INET, 10), std::pair(AF_INET6, 23)}) {
    refusals = {0, option, EINVAL, 1};  // the IP level, for both
    EXPECT_TRUE(os::setPathMtuDiscovery(fd, family, true));
    EXPECT_THAT(std::exchange(refusals, {}).values, ElementsAre(3, 2));
  }
  test::RecordingDest log("SocketUtil:rec:100");
  EXPECT_FALSE(os::setPathMtuDiscovery(-1, AF_INET, true));
  EXPECT_TRUE(os::setPathMtuDiscovery(-1, AF_INET6, false));
  const std::string call = "100 SocketUtil: setsockopt(";
  EXPECT_THAT(log.lines(), ElementsAre(call + "IP_MTU_DISCOVER,IP_PMTUDISC_DO): Bad file descriptor",
                                       call + "IPV6_MTU_DISCOVER,IPV6_PMTUDISC_DONT): Bad file descriptor"));
}

/// A pipe and an accepted connection work and are not inherited; then both fail for want of descriptors.
std::string usePipeAndAccept() {
  const Fd listener(bindTo(IpInfo("127.0.0.1", 0)));
  EXPECT_EQ(::listen(listener, 5), 0);
  const Fd client(connectTo(localAddress(listener)));
  int fds[2];
  os::pipeCloseOnExec(fds);
  EXPECT_EQ(::write(fds[1], "x", 1), 1);
  for (const int fd : {os::acceptSocket(listener), fds[0], fds[1]}) {
    EXPECT_FALSE(os::getInheritable(fd));
    ::close(fd);
  }
  const Fd waiting(connectTo(localAddress(listener)));
  const FewDescriptors one(1);
  const std::string words = raisedBy([&fds] { os::pipeCloseOnExec(fds); });
  const FewDescriptors none(0);
  EXPECT_EQ(raisedBy([&listener] { os::acceptSocket(listener); }), "accept 24");
  return words;
}

class SocketFailure : public testing::Test {
protected:
  ~SocketFailure() override { lookUpBy({}); }

  /// Has the functions that may be missing looked up anew; without a hook, in the system.
  static void lookUpBy(plat::DynamicFn::Hook hook) {
    plat::DynamicFn::setHook(std::move(hook));
    os::latePipe2.forget();
    os::lateAccept4.forget();
  }
};

TEST_F(SocketFailure, whatTheSystemLibraryLacksIsDoneInTheOldWay) {
  const auto before = test::openFds();
  std::vector<std::string> asked;
  lookUpBy([&asked](const char* library, const char* symbols) -> void* {
    asked.push_back(std::string(library) + " " + symbols);
    return nullptr;
  });
  EXPECT_EQ(usePipeAndAccept(), "pipe 24");
  EXPECT_EQ(usePipeAndAccept(), "pipe 24");
  EXPECT_THAT(asked, testing::UnorderedElementsAre("c[6,7] accept4", "c[6,7] pipe2")) << "once each";
  lookUpBy({});
  EXPECT_EQ(usePipeAndAccept(), "pipe2 24");
  EXPECT_EQ(test::openFds(), before);
}

TEST_F(SocketFailure, aConnectionLostBeforeItIsAcceptedIsNoFailure) {
  static int acceptError, acceptCalls;  // what the system says next; from the second call on "out of descriptors"
  lookUpBy([](const char*, const char*) {
    return reinterpret_cast<void*>(+[](int, sockaddr*, socklen_t*, int) {
      errno = acceptCalls++ == 0 ? acceptError : EMFILE;
      return -1;
    });
  });
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

}  // namespace
