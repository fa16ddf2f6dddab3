#include "base/io/PktInfo.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>

#include "base/plat/AssertionFail.h"
#include "tests/support/sockets.h"
#include "tests/support/thrown.h"

namespace {

using io::IpInfo;
using io::PktInfo;
using test::bindTo;
using test::Fd;
using test::localAddress;

/// A message of one byte, with its sender's or receiver's address and room for control messages.
struct Datagram {
  explicit Datagram(std::size_t controlRoom = sizeof control) {
    header.msg_name = &peer;
    header.msg_namelen = sizeof peer;
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = controlRoom;
  }
  IpInfo peerInfo() const { return {reinterpret_cast<const sockaddr*>(&peer), header.msg_namelen}; }

  sockaddr_storage peer = {};
  char byte = 'x';
  iovec part = {&byte, 1};
  alignas(cmsghdr) char control[256] = {};
  msghdr header = {};
};

/// A client asks a server bound to any address at `asked`, and hears from that very address.
void expectAnswerFromTheAddressAsked(const IpInfo& any, const char* client, const char* asked) {
  const Fd server(bindTo(any, SOCK_DGRAM));
  EXPECT_FALSE(PktInfo::enabled(server, any.family()));
  PktInfo::setEnabled(server, any.family(), true);
  EXPECT_TRUE(PktInfo::enabled(server, any.family()));
  const IpInfo target(asked, localAddress(server).port());
  const Fd fd(bindTo(IpInfo(client, 0), SOCK_DGRAM));
  ASSERT_EQ(::sendto(fd, "q", 1, 0, target.address(), target.addressLength()), 1);

  Datagram request;
  ASSERT_EQ(::recvmsg(server, &request.header, 0), 1);
  PktInfo info;
  ASSERT_TRUE(info.read(request.header));
  EXPECT_EQ(info.family(), any.family());
  EXPECT_EQ(info.binaryAddress(), target.binaryAddress());
  EXPECT_EQ(info.interfaceIndex(), ::if_nametoindex("lo"));
  EXPECT_EQ(IpInfo(info, target.port()), target);
  request.header.msg_controllen = sizeof request.control;
  info.write(request.header);
  EXPECT_EQ(request.header.msg_controllen, static_cast<std::size_t>(PktInfo::controlSize(any.family())));
  PktInfo written;
  EXPECT_TRUE(written.read(request.header) && written == info);
  EXPECT_EQ(written.interfaceIndex(), 0U) << "left to the routes";
  ASSERT_EQ(::sendmsg(server, &request.header, 0), 1) << std::strerror(errno);

  Datagram answer;
  ASSERT_EQ(::recvmsg(fd, &answer.header, 0), 1);
  EXPECT_EQ(answer.peerInfo(), target);
  EXPECT_FALSE(info.read(answer.header)) << "not asked for on this socket";
  EXPECT_EQ(info, PktInfo());
}

TEST(PktInfo, ipv4AnswersLeaveFromTheAddressAsked) {
  expectAnswerFromTheAddressAsked(IpInfo(0, false, AF_INET), "127.0.0.1", "127.0.0.5");
}

TEST(PktInfo, ipv6AnswersLeaveFromTheAddressAsked) {
  try {
    const Fd probe(bindTo(IpInfo(0, true, AF_INET6), SOCK_DGRAM));
  } catch (const plat::SystemException& e) {
    GTEST_SKIP() << "no IPv6 here: " << e.message;
  }
  expectAnswerFromTheAddressAsked(IpInfo(0, false, AF_INET6), "::1", "::1");
}

/// What the system hands over for a datagram to `address` by interface 3, behind another control message.
/// @param lost bytes of the record that there was no room for.
PktInfo received(const char* address, std::size_t lost = 0) {
  Datagram message;
  cmsghdr* header = CMSG_FIRSTHDR(&message.header);
  *header = {CMSG_LEN(sizeof(int)), IPPROTO_IPV6, IPV6_TCLASS};
  header = CMSG_NXTHDR(&message.header, header);
  in6_pktinfo record = {};
  std::memcpy(&record.ipi6_addr, IpInfo(address, 0).binaryAddress().data(), sizeof record.ipi6_addr);
  record.ipi6_ifindex = 3;
  *header = {CMSG_LEN(sizeof record) - lost, IPPROTO_IPV6, IPV6_PKTINFO};
  std::memcpy(CMSG_DATA(header), &record, sizeof record - lost);
  PktInfo info;
  EXPECT_EQ(info.read(message.header), lost == 0);
  return info;
}

/// The interface that goes out with the record, -1 if there is no record.
int interfaceWritten(const PktInfo& info) {
  Datagram message;
  info.write(message.header);
  const cmsghdr* const header = CMSG_FIRSTHDR(&message.header);
  return header != nullptr ? static_cast<int>(reinterpret_cast<const in6_pktinfo*>(CMSG_DATA(header))->ipi6_ifindex)
                           : -1;
}

TEST(PktInfo, onlyLinkLocalAddressesKeepTheirInterface) {
  const PktInfo local = received("fe80::1");
  const PktInfo global = received("2001:db8::1");
  EXPECT_EQ(interfaceWritten(local), 3);
  EXPECT_EQ(interfaceWritten(global), 0);
  EXPECT_EQ(interfaceWritten(PktInfo()), -1) << "the system chooses";
  EXPECT_EQ(reinterpret_cast<const sockaddr_in6*>(IpInfo(local, 5).address())->sin6_scope_id, 3U);
  EXPECT_EQ(reinterpret_cast<const sockaddr_in6*>(IpInfo(global, 5).address())->sin6_scope_id, 0U);
  EXPECT_EQ(local, received("fe80::1"));
  EXPECT_FALSE(local == global);
  EXPECT_EQ(received("fe80::1", 1), PktInfo()) << "cut off by the system";
  Datagram small(39);
  EXPECT_THROW(local.write(small.header), plat::AssertionFail);
}

TEST(PktInfo, failuresNameTheCall) {
  EXPECT_EQ(PktInfo::controlSize(AF_INET), 32);
  EXPECT_EQ(PktInfo::controlSize(AF_INET6), 40);
  EXPECT_EQ(PktInfo::controlSize(AF_UNIX), 0);
  const struct {
    int family;
    const char* option;
  } cases[] = {{AF_INET, "(IP_PKTINFO)"}, {AF_INET6, "(IPV6_RECVPKTINFO)"}};
  for (const auto& c : cases) {
    const auto get = test::failureFrom([&] { PktInfo::enabled(-1, c.family); });
    const auto set = test::failureFrom([&] { PktInfo::setEnabled(-1, c.family, true); });
    EXPECT_EQ(std::string(get.message).find("getsockopt" + std::string(c.option)), 0U) << get.message;
    EXPECT_EQ(std::string(set.message).find("setsockopt" + std::string(c.option)), 0U) << set.message;
    EXPECT_EQ(set.err, EBADF);
  }
  const std::string failure = test::messageFrom<plat::AssertionFail>([] { PktInfo().binaryAddress(); });
  EXPECT_EQ(failure.find("Assertion 'family_ == 2 || ((family_) == 10)' failed at base/io/PktInfo:"), 0U) << failure;
}

}  // namespace
