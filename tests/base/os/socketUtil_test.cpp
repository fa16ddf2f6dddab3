#include "base/os/socketUtil.h"

#include <cerrno>
#include <csignal>
#include <functional>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <sys/resource.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/os/socketOptions.h"
#include "base/plat/SystemException.h"
#include "tests/base/plat/RecordingDest.h"

namespace {

using testing::StartsWith;

/// Closes at the end; for the many descriptors of these tests.
struct Fd {
  Fd(int number) : fd(number) {}
  ~Fd() { ::close(fd); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  operator int() const { return fd; }
  int fd;
};

/// The message of what the call raises, up to the system's own words.
std::string raisedBy(const std::function<void()>& call) {
  try {
    call();
  } catch (const plat::SystemException& e) {
    const std::string message = e.message;
    return message.substr(0, message.find(':')) + " " + std::to_string(e.err);
  }
  return "";
}

sockaddr_in loopback(in_port_t port = 0) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = port;
  return address;
}

const sockaddr* generic(const sockaddr_in& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

sockaddr_in nameOf(int fd) {
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  return address;
}

int intOption(int fd, int level, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  ::getsockopt(fd, level, option, &value, &length);
  return value;
}

/// In a process of its own, started afresh: the initialisation is done once.
class SocketInitDeathTest : public testing::Test {
protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
  void TearDown() override { GTEST_FLAG_SET(death_test_style, "fast"); }
  static rlim_t softLimit() {
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return limit.rlim_cur;
  }
  static void setSoftLimit(rlim_t soft) {
    rlimit limit = {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = soft;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  }
  static void (*sigPipeAction())(int) {
    struct sigaction action = {};
    ::sigaction(SIGPIPE, nullptr, &action);
    return action.sa_handler;
  }
};

void checkLimits(rlim_t found, rlim_t during, std::function<void(rlim_t)> set, std::function<rlim_t()> get) {
  set(found);
  os::socketInit();
  EXPECT_EQ(get(), during);
  set(600);
  os::socketInit();
  EXPECT_EQ(get(), 600u) << "done once";
  os::socketRestoreForExec(false);
  EXPECT_EQ(get(), 600u);
  os::socketRestoreForExec(true);
  EXPECT_EQ(get(), found);
  std::_Exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST_F(SocketInitDeathTest, aHigherDescriptorLimitComesDownTo1024AndBackForExec) {
  EXPECT_EXIT(checkLimits(4096, 1024, setSoftLimit, softLimit), testing::ExitedWithCode(0), "");
}

TEST_F(SocketInitDeathTest, aLowerDescriptorLimitStays) {
  EXPECT_EXIT(checkLimits(700, 700, setSoftLimit, softLimit), testing::ExitedWithCode(0), "");
}

void checkSigPipe(void (*found)(int), void (*during)(int), std::function<void (*())(int)> get) {
  ::signal(SIGPIPE, found);
  os::socketInit();
  EXPECT_EQ(get(), during);
  os::socketRestoreForExec(false);
  EXPECT_EQ(get(), SIG_DFL);
  std::_Exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST_F(SocketInitDeathTest, sigPipeIsIgnoredUnlessSomebodyHandlesIt) {
  EXPECT_EXIT(checkSigPipe(SIG_DFL, SIG_IGN, sigPipeAction), testing::ExitedWithCode(0), "");
  void (*const own)(int) = [](int) {};
  EXPECT_EXIT(checkSigPipe(own, own, sigPipeAction), testing::ExitedWithCode(0), "");
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
  for (int fd : {a.fd, b.fd, c.fd, d.fd, copy.fd, second.fd, target.fd}) {
    EXPECT_FALSE(os::getInheritable(fd)) << fd;
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
  EXPECT_FALSE(os::getInheritable(os::dupCloseOnExec(fd))) << "a failure before spoils nothing";
}

TEST(SocketUtil, theBlockingModeReplacesAllOtherFlags) {
  const Fd fd(::open("/dev/null", O_WRONLY | O_APPEND | O_CLOEXEC));
  os::setBlocking(fd, false);
  EXPECT_EQ(::fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), O_NONBLOCK);
  os::setBlocking(fd, true);
  EXPECT_EQ(::fcntl(fd, F_GETFL) & (O_APPEND | O_NONBLOCK), 0);
}

TEST(SocketUtil, connectsAndAccepts) {
  const sockaddr_in anyPort = loopback();
  const Fd listener(os::bindSocket(generic(anyPort), sizeof anyPort, SOCK_STREAM, false));
  ASSERT_EQ(::listen(listener, 5), 0);
  os::setBlocking(listener, false);
  EXPECT_EQ(os::acceptSocket(listener), -1) << "nobody there yet";
  const sockaddr_in server = nameOf(listener);
  for (bool blocking : {true, false}) {
    const Fd client(os::connectNew(generic(server), sizeof server, SOCK_STREAM, blocking));
    EXPECT_EQ((::fcntl(client, F_GETFL) & O_NONBLOCK) == 0, blocking);
    const Fd accepted(os::acceptSocket(listener));
    ASSERT_GE(accepted, 0);
    EXPECT_FALSE(os::getInheritable(accepted));
  }
  EXPECT_EQ(intOption(listener, SOL_SOCKET, SO_REUSEADDR), 1);
  EXPECT_EQ(raisedBy([&] { os::bindSocket(generic(server), sizeof server, SOCK_STREAM, false); }), "bind 98");
}

TEST(SocketUtil, aPortIsSharedOnRequest) {
  const sockaddr_in anyPort = loopback();
  const Fd first(os::bindSocket(generic(anyPort), sizeof anyPort, SOCK_DGRAM, true));
  const sockaddr_in address = nameOf(first);
  const Fd second(os::bindSocket(generic(address), sizeof address, SOCK_DGRAM, true));
  EXPECT_EQ(nameOf(second).sin_port, address.sin_port);
  EXPECT_EQ(intOption(first, SOL_SOCKET, SO_REUSEADDR), 0);
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

TEST(SocketOptions, theTrafficClassMarksIpSocketsFromNowOn) {
  const Fd before(os::openSocket(AF_INET, SOCK_DGRAM, 0));
  os::applyDscp(before);
  EXPECT_EQ(intOption(before, IPPROTO_IP, IP_TOS), 0);
  os::setDscp(10);
  const sockaddr_in anyPort = loopback();
  const Fd udp(os::bindSocket(generic(anyPort), sizeof anyPort, SOCK_DGRAM, false));
  EXPECT_EQ(intOption(udp, IPPROTO_IP, IP_TOS), 40);
  test::RecordingDest log("SocketUtil:rec:100");
  const Fd local(os::openSocket(AF_UNIX, SOCK_STREAM, 0));
  os::applyDscp(local);
  os::applyDscpIfValid(-1);
  EXPECT_THAT(log.lines(), testing::IsEmpty());
  os::setDscp(0);
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
