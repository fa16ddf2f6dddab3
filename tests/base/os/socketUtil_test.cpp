#include "base/os/socketUtil.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <sys/resource.h>
#include <unistd.h>

#include "base/os/socketOptions.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

using io::IpInfo;
using test::bindTo;
using test::connectTo;
using test::Fd;
using test::intOption;
using test::localAddress;

/// The operation that the call says has failed, and its errno.
template <class Call>
std::string raisedBy(const Call& call) {
  const plat::SystemException failure = test::failureFrom(call);
  const std::string message = failure.message;
  return message.substr(0, message.find(':')) + " " + std::to_string(failure.err);
}

rlim_t softLimit() {
  rlimit limit = {};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_cur;
}

void setSoftLimit(rlim_t soft) {
  rlimit limit = {};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = soft;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

sighandler_t sigPipeAction() {
  struct sigaction action = {};
  ::sigaction(SIGPIPE, nullptr, &action);
  return action.sa_handler;
}

struct Surroundings {
  rlim_t limit;
  sighandler_t sigPipe;
};

/// For a process of its own, started afresh: the initialisation is done once.
[[noreturn]] void checkInit(const Surroundings& found, const Surroundings& during) {
  setSoftLimit(found.limit);
  ::signal(SIGPIPE, found.sigPipe);
  os::socketInit();
  EXPECT_EQ(softLimit(), during.limit);
  EXPECT_EQ(sigPipeAction(), during.sigPipe);
  setSoftLimit(600);
  os::socketInit();
  os::socketRestoreForExec(false);
  EXPECT_EQ(softLimit(), 600u) << "initialised once, and not asked to restore the limit";
  EXPECT_EQ(sigPipeAction(), SIG_DFL);
  os::socketRestoreForExec(true);
  EXPECT_EQ(softLimit(), found.limit);
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

TEST(SocketUtil, callsOnNoDescriptorSayWhatWasTried) {
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
}

TEST(SocketUtil, theBlockingModeReplacesAllOtherFlags) {
  const Fd fd(::open("/dev/null", O_WRONLY | O_APPEND | O_CLOEXEC));
  os::setBlocking(fd, false);
  EXPECT_EQ(::fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), O_NONBLOCK);
  os::setBlocking(fd, true);
  EXPECT_EQ(::fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), 0);
}

TEST(SocketUtil, connectsAndAccepts) {
  const Fd listener(bindTo(IpInfo("127.0.0.1", 0)));
  ASSERT_EQ(::listen(listener, 5), 0);
  os::setDscp(10);
  for (const bool blocking : {true, false}) {
    const Fd client(connectTo(localAddress(listener), SOCK_STREAM, blocking));
    EXPECT_EQ((::fcntl(client, F_GETFL) & O_NONBLOCK) == 0, blocking);
    const Fd accepted(os::acceptSocket(listener));
    ASSERT_GE(accepted, 0);
    EXPECT_FALSE(os::getInheritable(accepted));
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
  test::RecordingDest log("SocketUtil:rec:100");
  os::applyDscp(Fd(os::openSocket(AF_UNIX, SOCK_STREAM, 0)));
  os::applyDscpIfValid(-1);
  EXPECT_THAT(log.lines(), testing::IsEmpty()) << "not for other families";
  os::setDscp(0);
  const Fd second(bindTo(localAddress(first), SOCK_DGRAM, true));
  EXPECT_EQ(localAddress(second), localAddress(first));
  EXPECT_EQ(intOption(second, IPPROTO_IP, IP_TOS), 0);
}

TEST(SocketUtil, ipv6SocketsLeaveTheIpv4PortAlone) {
  if (Fd(::socket(AF_INET6, SOCK_DGRAM, 0)) < 0) {
    GTEST_SKIP() << "no IPv6 here";
  }
  os::setDscp(10);
  const Fd fd(bindTo(IpInfo("::", 0), SOCK_DGRAM));
  os::setDscp(0);
  EXPECT_EQ(intOption(fd, IPPROTO_IPV6, IPV6_V6ONLY), 1);
  EXPECT_EQ(intOption(fd, IPPROTO_IPV6, IPV6_TCLASS), 40);
}

TEST(SocketOptions, buffersGrowAndNeverShrink) {
  const Fd fd(os::openSocket(AF_INET, SOCK_STREAM, 0));
  const int present = intOption(fd, SOL_SOCKET, SO_SNDBUF);
  for (int size : {-1, 0, 1, present - 1, present}) {
    EXPECT_EQ(os::growSocketBuffer(fd, size, SO_SNDBUF, "SO_SNDBUF"), present) << size;
  }
  test::RecordingDest log("SocketUtil:rec:100");
  os::setSendBuffer(fd, present * 2);
  const int grown = intOption(fd, SOL_SOCKET, SO_SNDBUF);
  EXPECT_GT(grown, present);
  EXPECT_THAT(log.lines(), testing::ElementsAre("100 SocketUtil: Using send buffer size of " +
                                                std::to_string(grown / 1024) + " KiB"));
}

TEST(SocketOptions, pathMtuDiscovery) {
  const Fd fd(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  EXPECT_TRUE(os::setPathMtuDiscovery(fd, AF_INET, true));
  EXPECT_EQ(intOption(fd, IPPROTO_IP, IP_MTU_DISCOVER), 3);
  EXPECT_TRUE(os::setPathMtuDiscovery(fd, AF_INET, false));
  EXPECT_EQ(intOption(fd, IPPROTO_IP, IP_MTU_DISCOVER), 0);
  test::RecordingDest log("SocketUtil:rec:100");
  EXPECT_FALSE(os::setPathMtuDiscovery(-1, AF_INET, true));
  EXPECT_TRUE(os::setPathMtuDiscovery(-1, AF_INET6, false));
  EXPECT_THAT(
      log.lines(),
      testing::ElementsAre("100 SocketUtil: setsockopt(IP_MTU_DISCOVER,IP_PMTUDISC_DO): Bad file descriptor",
                           "100 SocketUtil: setsockopt(IPV6_MTU_DISCOVER,IPV6_PMTUDISC_DONT): Bad file descriptor"));
}

}  // namespace
