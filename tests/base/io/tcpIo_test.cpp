#include "base/io/TcpIo.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/io/GetAddrInfoException.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/SystemException.h"

namespace {

using io::IpInfo;
using io::TcpIo;

/// Both ends of a TCP connection over `address`; the ends belong to the caller.
void connectPair(const char* address, int ends[2]) {
  const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in in = {};
  in.sin_family = AF_INET;
  ASSERT_EQ(::inet_pton(AF_INET, address, &in.sin_addr), 1);
  socklen_t length = sizeof in;
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&in), length), 0);
  ASSERT_EQ(::listen(listener, 1), 0);
  ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&in), &length), 0);
  ends[0] = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::connect(ends[0], reinterpret_cast<sockaddr*>(&in), length), 0);
  ends[1] = ::accept(listener, nullptr, nullptr);
  ASSERT_GE(ends[1], 0);
  ::close(listener);
}

TEST(TcpIo, knowsBothEndsByNumber) {
  int fds[2];
  ASSERT_NO_FATAL_FAILURE(connectPair("127.0.0.1", fds));
  TcpIo client(fds[0], true, false);
  TcpIo server(fds[1], true, false);
  EXPECT_STREQ(client.peerAddress().get(), "127.0.0.1");
  EXPECT_EQ(client.peerEndpoint(), server.myEndpoint());
  EXPECT_EQ(server.peerEndpoint(), client.myEndpoint());
  const std::string endpoint = client.peerEndpoint().get();
  EXPECT_EQ(endpoint.rfind("127.0.0.1::", 0), 0U) << endpoint;
  EXPECT_EQ(client.displayName(), endpoint + " (TCP)");
  EXPECT_EQ(client.flags().count("secureTransport"), 1U);
  int noDelay = 0;
  socklen_t length = sizeof noDelay;
  ASSERT_EQ(::getsockopt(client.fd(), IPPROTO_TCP, TCP_NODELAY, &noDelay, &length), 0);
  EXPECT_NE(noDelay, 0);
}

TEST(TcpIo, showsTheNameThatTheUserKnows) {
  int fds[2];
  ASSERT_NO_FATAL_FAILURE(connectPair("127.0.0.1", fds));
  TcpIo client(fds[0], true, false);
  const TcpIo server(fds[1], true, false);
  client.setHostName("some.host");
  const std::string port = std::to_string(IpInfo(fds[1], IpInfo::End::Local).port());
  EXPECT_EQ(client.displayName(), "some.host::" + port + " (TCP)");
  EXPECT_STREQ(client.peerEndpoint().get(), ("some.host::" + port).c_str());
  EXPECT_STREQ(client.resolvedPeerEndpoint().get(), ("127.0.0.1::" + port).c_str());
}

TEST(TcpIo, onlyTheLoopbackAddressItselfCountsAsSecure) {
  int fds[2];
  ASSERT_NO_FATAL_FAILURE(connectPair("127.0.0.2", fds));
  TcpIo client(fds[0], true, false);
  TcpIo server(fds[1], true, false);
  EXPECT_TRUE(client.flags().empty());
  EXPECT_TRUE(server.flags().empty());
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

TEST(TcpIo, explainsErrorsByKey) {
  const std::pair<int, const char*> cases[] = {
      {ETIMEDOUT, "io_error_tcp_timedout"},      {ENETUNREACH, "io_error_ip_nethostunreach"},
      {EHOSTDOWN, "io_error_ip_nethostunreach"}, {EHOSTUNREACH, "io_error_ip_nethostunreach"},
      {ECONNRESET, "io_error_tcp_connreset"},    {EPIPE, "io_error_tcp_connreset"}};
  for (const auto& [error, key] : cases) {
    EXPECT_STREQ(TcpIo::tcpErrorKey(error), key);
  }
  EXPECT_EQ(TcpIo::tcpErrorKey(ECONNREFUSED), nullptr);
  EXPECT_FALSE(TcpIo::setNoDelay(-1, false));
}

TEST(IpInfo, readsNumericHosts) {
  const struct {
    const char* host;
    int family;
    const char* endpoint;
    const char* display;
    bool loopback;
  } cases[] = {{"127.0.0.1", AF_INET, "127.0.0.1::80", "127.0.0.1::80 (P)", true},
               {"127.0.0.2", AF_INET, "127.0.0.2::80", "127.0.0.2::80 (P)", false},
               {"::1", AF_INET6, "[::1]::80", "::1::80 (P)", true},
               {"2001:db8::5", AF_INET6, "[2001:db8::5]::80", "2001:db8::5::80 (P)", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.host);
    const IpInfo info(c.host, 80);
    EXPECT_EQ(info.family(), c.family);
    EXPECT_EQ(info.port(), 80);
    EXPECT_STREQ(info.endpointText().get(), c.endpoint);
    EXPECT_STREQ(info.displayText("P", nullptr).get(), c.display);
    EXPECT_STREQ(info.displayText("P", "name").get(), "name::80 (P)");
    EXPECT_EQ(info.isLoopback(), c.loopback);
  }
}

TEST(IpInfo, looksUpNoNames) {
  try {
    const IpInfo info("localhost", 80);
    FAIL();
  } catch (const io::GetAddrInfoException& e) {
    EXPECT_EQ(e.code, EAI_NONAME);
    EXPECT_STREQ(e.type, "GetAddrInfo");
    EXPECT_STREQ(e.message, ("getaddrinfo: '" + std::string(::gai_strerror(EAI_NONAME)) + "' (-2)").c_str());
    EXPECT_STREQ(e.userText(), "No such host is known");
  }
  const io::GetAddrInfoException other("getnameinfo", EAI_FAMILY);
  EXPECT_STREQ(other.userText(), other.message);
}

TEST(IpInfo, holdsNothingButIpAddresses) {
  sockaddr_un path = {};
  path.sun_family = AF_UNIX;
  EXPECT_THROW(IpInfo(reinterpret_cast<sockaddr*>(&path), sizeof path), plat::AssertionFail);
  EXPECT_THROW(IpInfo(reinterpret_cast<sockaddr*>(&path), sizeof(sockaddr_in)), plat::AssertionFail);
  EXPECT_THROW(IpInfo(-1, IpInfo::End::Local), plat::SystemException);
  EXPECT_THROW(IpInfo(-1, IpInfo::End::Peer), plat::SystemException);
}

}  // namespace
