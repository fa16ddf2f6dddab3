// Internet addresses, the destination addresses of datagrams, and TCP connections.

#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include "base/io/PktInfo.h"
#include "base/io/TcpIo.h"
#include "base/io/exceptions.h"
#include "tests/support/prelude.h"
#include "tests/support/sockets.h"

namespace {

using namespace test;
using io::IpInfo;
using io::PktInfo;
using io::TcpIo;
using plat::AssertionFail;

/// The loopback address of each family that there is here.
std::vector<const char*> loopbacks() {
  try {
    const Fd probe(bindTo(IpInfo("::1", 0)));
    return {"127.0.0.1", "::1"};
  } catch (const plat::SystemException&) {
    return {"127.0.0.1"};
  }
}

TEST(IpInfo, knowsWhatKindOfAddressItHolds) {
  // a: any, l: loopback, k: link-local
  const std::pair<const char*, const char*> cases[] = {
      {"0.0.0.0", "a"}, {"127.0.0.1", "l"}, {"127.0.0.2", ""}, {"169.254.0.1", "k"}, {"169.253.0.1", ""},
      {"::", "a"},      {"::1", "l"},       {"febf::1", "k"},  {"2001:db8::5", ""},  {"fe80::1%lo", "k"}};
  for (const auto& [host, kinds] : cases) {
    SCOPED_TRACE(host);
    const IpInfo info(host, 80);
    const bool isIpv6 = std::strchr(host, ':') != nullptr;
    EXPECT_EQ(info.family(), isIpv6 ? AF_INET6 : AF_INET);
    EXPECT_EQ(info.endpointText().get(), (isIpv6 ? "[" + std::string(host) + "]" : host) + "::80");
    const char* const any = info.isAny() ? "a" : "";
    EXPECT_EQ(std::string(any) + (info.isLoopback() ? "l" : "") + (info.isLinkLocal() ? "k" : ""), kinds);
    EXPECT_EQ(IpInfo(info.binaryAddress(), 80), info);
    EXPECT_FALSE(info == IpInfo(host, 81));
    EXPECT_FALSE(info.equals(nullptr));
  }
  EXPECT_FALSE(IpInfo("0.0.0.0", 80) == IpInfo("::", 80));
  EXPECT_EQ(IpInfo(80, true, AF_INET), IpInfo("127.0.0.1", 80));
  EXPECT_EQ(IpInfo(0, false, AF_INET), IpInfo("0.0.0.0", 0));
  EXPECT_EQ(IpInfo(65535, true, AF_INET6), IpInfo("::1", 65535));
  EXPECT_EQ(IpInfo(80, false, AF_INET6), IpInfo("::", 80));
  EXPECT_STREQ(IpInfo("2001:db8:0::5", 80).displayText("P", nullptr).get(), "2001:db8::5::80 (P)");
  EXPECT_STREQ(IpInfo("2001:db8::5", 80).displayText("P", "a.host").get(), "a.host::80 (P)");
}

TEST(IpInfo, refusesWhatIsNoAddress) {
  sockaddr_storage storage = {};
  storage.ss_family = AF_UNIX;
  const auto* const address = reinterpret_cast<const sockaddr*>(&storage);
  EXPECT_THAT(messageFrom([&] { IpInfo(address, sizeof storage); }),
              HasSubstr(" 'len == sizeof(sockaddr_in) || ((len) == sizeof(sockaddr_in6))' failed"));
  EXPECT_THAT(messageFrom([&] { IpInfo(address, sizeof(sockaddr_in)); }),
              HasSubstr(" 'family() == 2 || ((family()) == 10)' failed"));
  storage.ss_family = AF_INET6;
  EXPECT_THROW(IpInfo(address, sizeof(sockaddr_in)), AssertionFail) << "half an address";
  EXPECT_THAT(messageFrom([] { IpInfo(80, true, AF_UNIX); }), HasSubstr(" 'family == 2 || ((family) == 10)' failed"));
  EXPECT_THAT(messageFrom([] { IpInfo(plat::MBuf<unsigned char>(5), 80); }),
              HasSubstr(" 'binAddr.length() == 4 || ((binAddr.length()) == 16)' failed"));
  EXPECT_THROW(IpInfo(65536, true, AF_INET), AssertionFail);
  EXPECT_THROW(IpInfo(-1, true, AF_INET), AssertionFail);
  EXPECT_THAT(messageFrom([] { IpInfo(PktInfo(), 80); }), HasSubstr(" 'family_ == 2 || ((family_) == 10)' failed"));
  EXPECT_THAT(messageFrom([] { IpInfo(-1, IpInfo::End::Local); }), StartsWith("getsockname: "));
  EXPECT_THAT(messageFrom([] { IpInfo(-1, IpInfo::End::Peer); }), StartsWith("getpeername: "));
}

TEST(IpInfo, takesNumericHostsAndPortsOnlyAndHasATextForTheUser) {
  const std::tuple<const char*, int, int> cases[] = {
      {"localhost", 80, EAI_NONAME}, {nullptr, 80, EAI_NONAME}, {"127.0.0.1", 65536, EAI_SERVICE}};
  for (const auto& [host, port, code] : cases) {
    EXPECT_EQ(messageFrom<io::GetAddrInfoException>([host = host, port = port] { IpInfo(host, port); }),
              "getaddrinfo: '" + std::string(::gai_strerror(code)) + "' (" + std::to_string(code) + ")");
  }
  const io::GetAddrInfoException known("getaddrinfo", EAI_AGAIN), other("getaddrinfo", EAI_FAMILY);
  EXPECT_STREQ(known.userText(), "Temporary name lookup failure");
  EXPECT_STREQ(other.userText(), other.message);
  EXPECT_STREQ(other.type, "GetAddrInfo");
}

/// A message of one byte, with its sender's or receiver's address and room for control messages.
struct Datagram {
  explicit Datagram(std::size_t controlRoom = sizeof control) { header.msg_controllen = controlRoom; }

  sockaddr_storage peer = {};
  char byte = 'x';
  iovec part = {&byte, 1};
  alignas(cmsghdr) char control[256] = {};
  msghdr header = {&peer, sizeof peer, &part, 1, control, 0, 0};
};

TEST(PktInfo, answersLeaveFromTheAddressAsked) {
  for (const char* const client : loopbacks()) {
    SCOPED_TRACE(client);
    const IpInfo any(0, false, IpInfo(client, 0).family());
    const Fd server(bindTo(any, SOCK_DGRAM));
    EXPECT_FALSE(PktInfo::enabled(server, any.family()));
    PktInfo::setEnabled(server, any.family(), true);
    EXPECT_TRUE(PktInfo::enabled(server, any.family()));
    const IpInfo target(any.family() == AF_INET ? "127.0.0.5" : "::1", localAddress(server).port());
    const Fd fd(bindTo(IpInfo(client, 0), SOCK_DGRAM));
    ASSERT_EQ(::sendto(fd, "q", 1, 0, target.address(), target.addressLength()), 1);

    Datagram request;
    ASSERT_EQ(::recvmsg(server, &request.header, 0), 1);
    PktInfo info;
    ASSERT_TRUE(info.read(request.header));
    EXPECT_EQ(info.interfaceIndex(), ::if_nametoindex("lo"));
    EXPECT_EQ(IpInfo(info, target.port()), target);
    request.header.msg_controllen = sizeof request.control;
    info.write(request.header);
    PktInfo written;
    EXPECT_TRUE(written.read(request.header));
    EXPECT_EQ(written, info);
    EXPECT_EQ(written.interfaceIndex(), 0U) << "left to the routes";
    ASSERT_EQ(::sendmsg(server, &request.header, 0), 1) << std::strerror(errno);

    Datagram answer;
    ASSERT_EQ(::recvmsg(fd, &answer.header, 0), 1);
    EXPECT_EQ(IpInfo(reinterpret_cast<const sockaddr*>(&answer.peer), answer.header.msg_namelen), target);
    EXPECT_FALSE(info.read(answer.header)) << "not asked for on this socket";
    EXPECT_EQ(info, PktInfo());
  }
}

/// What the system hands over for a datagram to `address` by interface 3, behind another control message.
/// @param lost bytes of the record that there was no room for.
PktInfo received(const char* address, std::size_t lost = 0) {
  Datagram message;
  cmsghdr* header = CMSG_FIRSTHDR(&message.header);
  *header = {CMSG_LEN(sizeof(int)), IPPROTO_IPV6, IPV6_TCLASS};
  header = CMSG_NXTHDR(&message.header, header);
  in6_pktinfo record = {reinterpret_cast<const sockaddr_in6*>(IpInfo(address, 0).address())->sin6_addr, 3};
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
  return header ? static_cast<int>(reinterpret_cast<const in6_pktinfo*>(CMSG_DATA(header))->ipi6_ifindex) : -1;
}

TEST(PktInfo, onlyLinkLocalAddressesKeepTheirInterface) {
  const PktInfo local = received("fe80::1"), global = received("2001:db8::1");
  EXPECT_EQ(interfaceWritten(local), 3);
  EXPECT_EQ(interfaceWritten(global), 0);
  EXPECT_EQ(interfaceWritten(PktInfo()), -1) << "the system chooses";
  EXPECT_EQ(reinterpret_cast<const sockaddr_in6*>(IpInfo(local, 5).address())->sin6_scope_id, 3U);
  EXPECT_EQ(reinterpret_cast<const sockaddr_in6*>(IpInfo(global, 5).address())->sin6_scope_id, 0U);
  EXPECT_EQ(received("fe80::1", 1), PktInfo()) << "cut off by the system";
  Datagram small(39);
  EXPECT_THROW(local.write(small.header), AssertionFail);
  EXPECT_THAT(messageFrom([] { PktInfo::enabled(-1, AF_INET); }), StartsWith("getsockopt(IP_PKTINFO): "));
  EXPECT_THAT(messageFrom([] { PktInfo::setEnabled(-1, AF_INET6, true); }),
              StartsWith("setsockopt(IPV6_RECVPKTINFO): "));
}

TEST(TcpIo, knowsBothEndsByNumberAndByTheNameThatTheUserKnows) {
  std::vector<const char*> hosts = loopbacks();
  hosts.push_back("127.0.0.2");  // no loopback by the letter
  for (const char* const host : hosts) {
    const Fd listener(listenOn(host));
    const IpInfo bound = localAddress(listener);
    const std::string port = "::" + std::to_string(bound.port());
    const std::string numeric = bound.numericHostName().get();
    TcpIo client(connectTo(bound), true, false);
    TcpIo accepted(os::acceptSocket(listener), true, false);
    EXPECT_EQ(client.peerAddress().get(), numeric);
    EXPECT_EQ(client.peerEndpoint().get(), numeric + port);
    EXPECT_EQ(accepted.peerEndpoint(), client.myEndpoint());
    EXPECT_EQ(client.displayName(), host + port + " (TCP)");
    EXPECT_EQ(accepted.flags().count("secureTransport"), bound.isLoopback() ? 1U : 0U);
    EXPECT_NE(intOption(client.fd(), IPPROTO_TCP, TCP_NODELAY), 0);

    TcpIo named(::dup(client.fd()), true, false);
    named.setHostName("some.host");
    EXPECT_EQ(named.displayName(), "some.host" + port + " (TCP)");
    EXPECT_EQ(named.peerEndpoint().get(), "some.host" + port);
    EXPECT_EQ(named.resolvedPeerEndpoint().get(), numeric + port);
  }
}

TEST(TcpIo, failuresLeaveNoDescriptorOpen) {
  const auto before = openFds();
  const auto error = [](const auto& call) { return failureFrom(call).err; };
  for (const char* const host : loopbacks()) {
    const Fd listener(listenOn(host));
    EXPECT_EQ(error([&] { bindTo(localAddress(listener)); }), EADDRINUSE);
    const IpInfo foreign(*host == ':' ? "2001:db8::1" : "192.0.2.1", 0);
    EXPECT_EQ(error([&] { bindTo(foreign, SOCK_DGRAM, true); }), EADDRNOTAVAIL);
    const int silent = bindTo(IpInfo(host, 0));  // nobody listens there
    EXPECT_EQ(error([&] { connectTo(localAddress(silent)); }), ECONNREFUSED);
    // A socket that is owned is closed too if there is no connection on it.
    EXPECT_EQ(error([&] { TcpIo(silent, true, false); }), ENOTCONN);
    os::setBlocking(listener, false);
    EXPECT_EQ(os::acceptSocket(listener), -1) << "nobody there";
  }
  EXPECT_EQ(openFds(), before);
}

TEST(TcpIo, namesOfAnUnconnectedSocketAreEmptyAndRaiseNothing) {
  const int fd = os::openSocket(AF_INET, SOCK_STREAM, 0);
  TcpIo io(fd, true, true);
  const RecordingDest log("TcpIo:rec:30");
  EXPECT_EQ(io.displayName(), "<fd" + std::to_string(fd) + ">");
  const plat::String names[] = {io.peerEndpoint(), io.resolvedPeerEndpoint(), io.myEndpoint(), io.peerAddress()};
  EXPECT_THAT(names, ElementsAre("", "", "0.0.0.0::0", ""));
  EXPECT_THAT(log.lines(), SizeIs(4));
  EXPECT_THAT(log.lines().back(), StartsWith("30 TcpIo: peerAddress error: "));
}

}  // namespace
