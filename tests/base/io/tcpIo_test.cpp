#include "base/io/TcpIo.h"

#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <unistd.h>

#include "base/io/GetAddrInfoException.h"
#include "base/plat/AssertionFail.h"

namespace {

using io::IpInfo;
using io::TcpIo;

/// Both ends of a TCP connection; they belong to the caller.
void connectPair(int ends[2]) {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const IpInfo any("127.0.0.1", 0);
  ASSERT_EQ(::bind(listener, any.address(), any.addressLength()), 0);
  ASSERT_EQ(::listen(listener, 1), 0);
  const IpInfo bound(listener, IpInfo::End::Local);
  ends[0] = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::connect(ends[0], bound.address(), bound.addressLength()), 0);
  ends[1] = ::accept(listener, nullptr, nullptr);
  ::close(listener);
}

TEST(TcpIo, knowsBothEndsByNumberAndByTheNameThatTheUserKnows) {
  int fds[2] = {-1, -1};
  ASSERT_NO_FATAL_FAILURE(connectPair(fds));
  TcpIo client(fds[0], true, false);
  TcpIo server(fds[1], true, false);
  const std::string port = std::to_string(IpInfo(fds[1], IpInfo::End::Local).port());
  EXPECT_STREQ(client.peerAddress().get(), "127.0.0.1");
  EXPECT_EQ(client.peerEndpoint().get(), "127.0.0.1::" + port);
  EXPECT_EQ(server.peerEndpoint(), client.myEndpoint());
  EXPECT_EQ(client.displayName(), "127.0.0.1::" + port + " (TCP)");
  EXPECT_EQ(client.flags().count("secureTransport"), 1U);
  TcpIo named(::dup(fds[0]), true, false);
  named.setHostName("some.host");
  EXPECT_EQ(named.displayName(), "some.host::" + port + " (TCP)");
  EXPECT_EQ(named.peerEndpoint().get(), "some.host::" + port);
  EXPECT_EQ(named.resolvedPeerEndpoint().get(), "127.0.0.1::" + port);
}

TEST(TcpIo, namesOfAnUnconnectedSocketAreEmptyAndRaiseNothing) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  TcpIo io(fd, true, true);
  EXPECT_EQ(io.displayName(), "<fd" + std::to_string(fd) + ">");
  EXPECT_STREQ(io.peerEndpoint().get(), "");
  EXPECT_STREQ(io.resolvedPeerEndpoint().get(), "");
  EXPECT_STREQ(io.peerAddress().get(), "");
  EXPECT_STREQ(io.myEndpoint().get(), "0.0.0.0::0");
}

TEST(IpInfo, readsNumericHostsAndLooksUpNoNames) {
  const IpInfo info("2001:db8::5", 80);
  EXPECT_EQ(info.family(), AF_INET6);
  EXPECT_STREQ(info.endpointText().get(), "[2001:db8::5]::80");
  EXPECT_STREQ(info.displayText("P", nullptr).get(), "2001:db8::5::80 (P)");
  EXPECT_TRUE(IpInfo("::1", 80).isLoopback());
  EXPECT_FALSE(IpInfo("127.0.0.2", 80).isLoopback());
  try {
    const IpInfo named("localhost", 80);
    FAIL();
  } catch (const io::GetAddrInfoException& e) {
    EXPECT_STREQ(e.type, "GetAddrInfo");
    EXPECT_STREQ(e.message, ("getaddrinfo: '" + std::string(::gai_strerror(EAI_NONAME)) + "' (-2)").c_str());
    EXPECT_STREQ(e.userText(), "No such host is known");
  }
  sockaddr_storage path = {};
  path.ss_family = AF_UNIX;
  EXPECT_THROW(IpInfo(reinterpret_cast<sockaddr*>(&path), sizeof path), plat::AssertionFail);
  EXPECT_THROW(IpInfo(reinterpret_cast<sockaddr*>(&path), sizeof(sockaddr_in)), plat::AssertionFail);
}

}  // namespace
