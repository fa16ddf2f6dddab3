// Socket calls, also on systems that are old, or short of descriptors or memory.

#include "base/os/socket/socketUtil.h"

#include <netinet/in.h>
#include <sys/syscall.h>

#include "base/os/UnixIo.h"
#include "base/os/socket/socketOptions.h"
#include "base/os/unix/DynamicFn.h"
#include "tests/support/prelude.h"
#include "tests/support/sockets.h"

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

using namespace test;
using io::IpInfo;

/// The operation that the call says has failed, and its errno.
std::string raisedBy(const auto& call) {
  const plat::SystemException failure = failureFrom(call);
  const std::string message = failure.message;
  return message.substr(0, message.find(": ")) + " " + std::to_string(failure.err);
}

/// For a process of its own, started afresh: the initialisation is done once.
[[noreturn]] void checkInit(int limit, int limited, sighandler_t sigPipe, sighandler_t ignored) {
  const FdLimit first(static_cast<rlim_t>(limit));
  ::signal(SIGPIPE, sigPipe);
  os::socketInit();
  EXPECT_EQ(::getdtablesize(), limited);
  EXPECT_EQ(::signal(SIGPIPE, SIG_IGN), ignored);
  const FdLimit changed(600);
  os::socketInit();
  os::socketRestoreForExec(false);
  EXPECT_EQ(::getdtablesize(), 600) << "not again, and not asked to restore the limit";
  EXPECT_EQ(::signal(SIGPIPE, SIG_IGN), SIG_DFL);
  os::socketRestoreForExec(true);
  EXPECT_EQ(::getdtablesize(), limit);
  std::_Exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST(SocketInitDeathTest, limitsDescriptorsAndIgnoresSigPipeUntilTheNextProgram) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const sighandler_t own = [](int) {};
  EXPECT_EXIT(checkInit(4096, 1024, SIG_DFL, SIG_IGN), ExitedWithCode(0), "");
  EXPECT_EXIT(checkInit(700, 700, own, own), ExitedWithCode(0), "");
  GTEST_FLAG_SET(death_test_style, "fast");
}

TEST(SocketUtil, whatIsMadeIsNotInheritedAndCallsThatFailSayWhatWasTriedAndLeakNothing) {
  int fds[2];
  os::socketPairCloseOnExec(fds);
  const Fd a(fds[0]), b(fds[1]), target(::dup(0));
  EXPECT_TRUE(os::getInheritable(target));
  os::dup2CloseOnExec(b, target);
  for (const int fd : {int{a}, int{b}, int{target}}) {
    EXPECT_FALSE(os::getInheritable(fd));
  }
  EXPECT_EQ(::write(target, "x", 1), 1) << "connected";
  os::setInheritableOrThrow(a, true, false);
  EXPECT_TRUE(os::getInheritable(a));

  const auto before = openFds();
  EXPECT_EQ(raisedBy([] { os::setInheritableOrThrow(-1, false, true); }), "setInheritable 9");
  EXPECT_EQ(raisedBy([] { os::getInheritable(-1); }), "getInheritable 9");
  EXPECT_EQ(raisedBy([] { os::setBlocking(-1, true); }), "setBlocking 9");
  EXPECT_EQ(raisedBy([] { os::dupCloseOnExec(-1); }), "fcntl(F_DUPFD_CLOEXEC) 9");
  EXPECT_FALSE(os::getInheritable(Fd(os::dupCloseOnExec(0)))) << "a failure before spoils nothing";
  EXPECT_EQ(raisedBy([] { os::dup2CloseOnExec(0, 0); }), "dup2 22");
  EXPECT_EQ(raisedBy([] { os::acceptSocket(-1); }), "accept 9");
  EXPECT_EQ(raisedBy([] { os::setReceiveBuffer(-1, 1); }), "getsockopt(SO_RCVBUF) 9");
  EXPECT_EQ(os::openSocket(12345, SOCK_STREAM, 0), -1);
  {
    const FdLimit one = fewDescriptors(1);
    EXPECT_EQ(raisedBy([&] { os::socketPairCloseOnExec(fds); }), "socketpair 24");
  }
  const IpInfo address("127.0.0.1", 0);
  const FdLimit none = fewDescriptors(0);
  EXPECT_EQ(raisedBy([&] { os::dupCloseOnExec(0); }), "fcntl(F_DUPFD_CLOEXEC) 24");
  EXPECT_EQ(raisedBy([&] { bindTo(address, SOCK_STREAM, true); }), "socket 24");
  EXPECT_EQ(raisedBy([&] { connectTo(address, SOCK_DGRAM); }), "socket 24");
  EXPECT_EQ(raisedBy([&] { os::UnixIo("/any", -1, false); }), "socket 24");
  EXPECT_EQ(openFds(), before);
}

TEST(SocketUtil, connectionsAndDatagramsCarryTheTrafficClass) {
  const Fd listener(listenOn("127.0.0.1"));
  EXPECT_EQ(intOption(listener, SOL_SOCKET, SO_REUSEADDR), 1);
  os::setDscp(10);
  for (const bool blocking : {true, false}) {
    const Fd client(connectTo(localAddress(listener), SOCK_STREAM, blocking));
    EXPECT_EQ((::fcntl(client, F_GETFL) & O_NONBLOCK) == 0, blocking);
    EXPECT_EQ(intOption(client, IPPROTO_IP, IP_TOS), 0);
    EXPECT_EQ(intOption(Fd(os::acceptSocket(listener)), IPPROTO_IP, IP_TOS), 40);
  }
  const Fd first(bindTo(IpInfo("127.0.0.1", 0), SOCK_DGRAM, true));
  EXPECT_EQ(intOption(first, IPPROTO_IP, IP_TOS), 40);
  EXPECT_EQ(intOption(first, SOL_SOCKET, SO_REUSEADDR), 0);
  if (Fd(::socket(AF_INET6, SOCK_DGRAM, 0)) >= 0) {
    const Fd fd(bindTo(IpInfo("::", 0), SOCK_DGRAM));
    EXPECT_EQ(intOption(fd, IPPROTO_IPV6, IPV6_V6ONLY), 1) << "the IPv4 port is left alone";
    EXPECT_EQ(intOption(fd, IPPROTO_IPV6, IPV6_TCLASS), 40);
  }
  RecordingDest log("SocketUtil:rec:100");
  os::applyDscp(Fd(os::openSocket(AF_UNIX, SOCK_STREAM, 0)));
  os::applyDscpIfValid(-1);
  EXPECT_THAT(log.lines(), IsEmpty()) << "not for other families";
  os::setDscp(0);
  const Fd second(bindTo(localAddress(first), SOCK_DGRAM, true));
  EXPECT_EQ(localAddress(second), localAddress(first)) << "shared on request";
  EXPECT_EQ(intOption(second, IPPROTO_IP, IP_TOS), 0);
}

TEST(SocketOptions, buffersGrowAsFarAsTheSystemLetsThemAndPathMtuDiscoveryFallsBackOnTheOlderMode) {
  const Fd fd(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  const auto sendBuffer = [&fd] { return intOption(fd, SOL_SOCKET, SO_SNDBUF); };
  const auto grow = [&fd](int size) { return os::growSocketBuffer(fd, size, SO_SNDBUF, "SO_SNDBUF"); };
  const int least = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &least, sizeof least);
  const int present = sendBuffer();
  for (int size : {-1, present - 1, present}) {
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
  RecordingDest log("SocketUtil:rec:100");
  os::setSendBuffer(fd, Size);
  EXPECT_THAT(std::exchange(refusals, {}).values, ElementsAre(Size, 80000, 64000));
  EXPECT_GT(sendBuffer(), present);
  EXPECT_THAT(log.lines(),
              ElementsAre("100 SocketUtil: Using send buffer size of " + std::to_string(sendBuffer() / 1024) + " KiB"));

  for (const bool on : {true, false}) {
    EXPECT_TRUE(os::setPathMtuDiscovery(fd, AF_INET, on));
    EXPECT_EQ(intOption(fd, IPPROTO_IP, IP_MTU_DISCOVER), on ? 3 : 0);
  }
  for (const auto& [family, option] : {std::pair(AF_INET, 10), std::pair(AF_INET6, 23)}) {
    refusals = {0, option, EINVAL, 1};  // the IP level, for both
    EXPECT_TRUE(os::setPathMtuDiscovery(fd, family, true));
    EXPECT_THAT(std::exchange(refusals, {}).values, ElementsAre(3, 2));
  }
  log.clear();
  EXPECT_FALSE(os::setPathMtuDiscovery(-1, AF_INET, true));
  EXPECT_TRUE(os::setPathMtuDiscovery(-1, AF_INET6, false));
  const std::string call = "100 SocketUtil: setsockopt(";
  EXPECT_THAT(log.lines(), ElementsAre(call + "IP_MTU_DISCOVER,IP_PMTUDISC_DO): Bad file descriptor",
                                       call + "IPV6_MTU_DISCOVER,IPV6_PMTUDISC_DONT): Bad file descriptor"));
}

/// Has the functions that may be missing looked up anew; without a hook, in the system.
void lookUpBy(plat::DynamicFn::Hook hook) {
  plat::DynamicFn::setHook(std::move(hook));
  os::latePipe2.forget();
  os::lateAccept4.forget();
}

TEST(OldSystem, whatItsLibraryLacksIsDoneInTheOldWay) {
  const auto before = openFds();
  std::vector<std::string> asked;
  lookUpBy([&asked](const char* library, const char* symbols) -> void* {
    asked.push_back(std::string(library) + " " + symbols);
    return nullptr;
  });
  for (const char* const call : {"pipe 24", "pipe2 24"}) {
    const Fd listener(listenOn("127.0.0.1")), client(connectTo(localAddress(listener)));
    int fds[2];
    os::pipeCloseOnExec(fds);
    const Fd in(fds[0]), out(fds[1]), accepted(os::acceptSocket(listener));
    EXPECT_EQ(::write(out, "x", 1), 1);
    for (const int fd : {int{in}, int{out}, int{accepted}}) {
      EXPECT_FALSE(os::getInheritable(fd));
    }
    const Fd waiting(connectTo(localAddress(listener)));
    const FdLimit one = fewDescriptors(1);
    EXPECT_EQ(raisedBy([&] { os::pipeCloseOnExec(fds); }), call);
    const FdLimit none = fewDescriptors(0);
    EXPECT_EQ(raisedBy([&] { os::acceptSocket(listener); }), "accept 24");
    lookUpBy({});
  }
  EXPECT_THAT(asked, UnorderedElementsAre("c[6,7] accept4", "c[6,7] pipe2")) << "once each";
  EXPECT_EQ(openFds(), before);
}

TEST(OldSystem, aConnectionLostBeforeItIsAcceptedIsNoFailure) {
  static int acceptError, acceptCalls;  // what the system says next; from the second call on "out of descriptors"
  lookUpBy([](const char*, const char*) {
    return reinterpret_cast<void*>(+[](int, sockaddr*, socklen_t*, int) {
      errno = acceptCalls++ == 0 ? acceptError : EMFILE;
      return -1;
    });
  });
  for (const auto& [error, raised, calls] :
       {std::tuple(ECONNABORTED, -1, 1), std::tuple(EAGAIN, -1, 1), std::tuple(EPERM, -1, 1),
        std::tuple(EINTR, EMFILE, 2), std::tuple(ENOBUFS, ENOBUFS, 1)}) {
    acceptError = error;
    acceptCalls = 0;
    EXPECT_EQ(failureFrom([] { EXPECT_EQ(os::acceptSocket(0), -1); }).err, raised) << error;
    EXPECT_EQ(acceptCalls, calls);
  }
  lookUpBy({});
}

}  // namespace
