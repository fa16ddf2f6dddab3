#include "base/io/TcpIo.h"

#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include "base/plat/AssertionFail.h"
#include "tests/base/plat/RecordingDest.h"
#include "tests/support/openFds.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

using io::IpInfo;
using io::TcpIo;
using test::bindTo;
using test::connectTo;
using test::localAddress;

/// Connections over the loopback of each family.
class TcpIoTest : public testing::TestWithParam<const char*> {
protected:
  void SetUp() override {
    try {
      listener_ = bindTo(IpInfo(GetParam(), 0));
    } catch (const plat::SystemException& e) {
      GTEST_SKIP() << "no such address here: " << e.message;
    }
    ASSERT_EQ(::listen(listener_, 5), 0);
  }
  void TearDown() override {
    if (listener_ >= 0) {
      ::close(listener_);
    }
  }

  int listener_ = -1;
};

INSTANTIATE_TEST_SUITE_P(Families, TcpIoTest, testing::Values("127.0.0.1", "::1"),
                         [](const auto& family) { return *family.param == ':' ? "Ipv6" : "Ipv4"; });

TEST_P(TcpIoTest, knowsBothEndsByNumberAndByTheNameThatTheUserKnows) {
  const IpInfo bound = localAddress(listener_);
  const std::string port = std::to_string(bound.port());
  const std::string numeric = bound.numericHostName().get();
  TcpIo client(connectTo(bound), true, false);
  TcpIo accepted(os::acceptSocket(listener_), true, false);
  EXPECT_EQ(client.peerAddress().get(), numeric);
  EXPECT_EQ(client.peerEndpoint().get(), numeric + "::" + port);
  EXPECT_EQ(accepted.peerEndpoint(), client.myEndpoint());
  EXPECT_EQ(client.displayName(), GetParam() + ("::" + port) + " (TCP)");
  EXPECT_EQ(client.flags().count("secureTransport"), 1U);
  EXPECT_EQ(accepted.flags().count("secureTransport"), 1U);
  EXPECT_NE(test::intOption(client.fd(), IPPROTO_TCP, TCP_NODELAY), 0);
  TcpIo named(::dup(client.fd()), true, false);
  named.setHostName("some.host");
  EXPECT_EQ(named.displayName(), "some.host::" + port + " (TCP)");
  EXPECT_EQ(named.peerEndpoint().get(), "some.host::" + port);
  EXPECT_EQ(named.resolvedPeerEndpoint().get(), numeric + "::" + port);
  client.out()->writeU32(7);
  client.out()->flush();
  EXPECT_EQ(accepted.in()->readU32(), 7U);
}

TEST_P(TcpIoTest, failuresLeaveNoDescriptorOpen) {
  const IpInfo bound = localAddress(listener_);
  const auto before = test::openFds();
  const auto error = [](const auto& call) { return test::failureFrom(call).err; };
  EXPECT_EQ(error([&] { bindTo(bound); }), EADDRINUSE);
  const IpInfo foreign(*GetParam() == ':' ? "2001:db8::1" : "192.0.2.1", 0);
  EXPECT_EQ(error([&] { bindTo(foreign, SOCK_DGRAM, true); }), EADDRNOTAVAIL);
  const int silent = bindTo(IpInfo(GetParam(), 0));  // nobody listens there
  EXPECT_EQ(error([&] { connectTo(localAddress(silent)); }), ECONNREFUSED);
  EXPECT_EQ(error([&] { os::connectNew(bound.address(), 3, SOCK_STREAM, false); }), EINVAL);
  // A socket that is owned is closed too if there is no connection on it.
  EXPECT_EQ(error([&] { TcpIo(silent, true, false); }), ENOTCONN);
  int pair[2];
  os::socketPairCloseOnExec(pair);
  ::close(pair[1]);
  EXPECT_THROW(TcpIo(pair[0], true, false), plat::AssertionFail);
  os::setBlocking(listener_, false);
  EXPECT_EQ(os::acceptSocket(listener_), -1) << "nobody there";
  EXPECT_EQ(test::openFds(), before);
}

TEST(TcpIo, isNotSecureUnlessBothEndsAreLoopbackByTheLetter) {
  const test::Fd listener(bindTo(IpInfo("127.0.0.2", 0)));
  ASSERT_EQ(::listen(listener, 1), 0);
  const TcpIo client(connectTo(localAddress(listener)), true, false);
  const TcpIo accepted(os::acceptSocket(listener), true, false);
  EXPECT_EQ(client.flags().count("secureTransport") + accepted.flags().count("secureTransport"), 0U);
}

TEST(TcpIo, namesOfAnUnconnectedSocketAreEmptyAndRaiseNothing) {
  const int fd = os::openSocket(AF_INET, SOCK_STREAM, 0);
  TcpIo io(fd, true, true);
  const test::RecordingDest log("TcpIo:rec:30");
  EXPECT_EQ(io.displayName(), "<fd" + std::to_string(fd) + ">");
  EXPECT_STREQ(io.peerEndpoint().get(), "");
  EXPECT_STREQ(io.resolvedPeerEndpoint().get(), "");
  EXPECT_STREQ(io.peerAddress().get(), "");
  EXPECT_STREQ(io.myEndpoint().get(), "0.0.0.0::0");
  using testing::StartsWith;
  EXPECT_THAT(log.lines(), testing::ElementsAre(StartsWith("30 TcpIo: displayName error: "),
                                                StartsWith("30 TcpIo: peerEndpoint error: "),
                                                StartsWith("30 TcpIo: resolvedPeerEndpoint error: "),
                                                StartsWith("30 TcpIo: peerAddress error: ")));
}

TEST(TcpIo, errorsHaveATextForTheUser) {
  EXPECT_STREQ(TcpIo::tcpErrorKey(ETIMEDOUT), "io_error_tcp_timedout");
  for (const int error : {ENETUNREACH, EHOSTDOWN, EHOSTUNREACH}) {
    EXPECT_STREQ(TcpIo::tcpErrorKey(error), "io_error_ip_nethostunreach");
  }
  for (const int error : {ECONNRESET, EPIPE}) {
    EXPECT_STREQ(TcpIo::tcpErrorKey(error), "io_error_tcp_connreset");
  }
  EXPECT_EQ(TcpIo::tcpErrorKey(ECONNREFUSED), nullptr);
}

}  // namespace
