#include "base/io/IpInfo.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include "base/io/PktInfo.h"
#include "base/io/endpoint.h"
#include "base/io/exceptions.h"
#include "base/os/socket/socketUtil.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace io {

namespace {

constexpr std::size_t AddressRoom = 128;
// NI_MAXHOST, the most that getnameinfo(3) gives.
constexpr std::size_t NumericHostRoom = 1025;
constexpr int MaxPort = 65535;
constexpr int Ipv4Size = sizeof(in_addr);
constexpr int Ipv6Size = sizeof(in6_addr);

const sockaddr_in& ipv4(const sockaddr* address) noexcept {
  return *reinterpret_cast<const sockaddr_in*>(address);
}

const sockaddr_in6& ipv6(const sockaddr* address) noexcept {
  return *reinterpret_cast<const sockaddr_in6*>(address);
}

}  // namespace

IpInfo::IpInfo(const sockaddr* address, socklen_t length) {
  os::socketInit();
  assign(address, length);
}

IpInfo::IpInfo(const char* host, int port) {
  os::socketInit();
  if (host == nullptr) {
    throw GetAddrInfoException("getaddrinfo", EAI_NONAME);  // which getaddrinfo takes for the loopback address
  }
  if (port < 0 || port > MaxPort) {
    throw GetAddrInfoException("getaddrinfo", EAI_SERVICE);  // of which getaddrinfo takes the lower 16 bits
  }
  addrinfo hints = {};
  // Nothing here may wait for a name server.
  hints.ai_flags = AI_NUMERICHOST;
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int code = ::getaddrinfo(host, plat::String::format("%d", port).get(), &hints, &found);
  if (code != 0) {
    throw GetAddrInfoException("getaddrinfo", code);
  }
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> holder(found, &::freeaddrinfo);
  assign(found->ai_addr, found->ai_addrlen);
}

IpInfo::IpInfo(int port, bool loopback, int family) {
  os::socketInit();
  PLAT_REQUIRE_AS(family == AF_INET || family == AF_INET6, "family == 2 || ((family) == 10)", __FILE__, __LINE__);
  const in_addr ipv4Address = {htonl(loopback ? INADDR_LOOPBACK : INADDR_ANY)};
  const in6_addr& ipv6Address = loopback ? in6addr_loopback : in6addr_any;
  build(family, family == AF_INET ? static_cast<const void*>(&ipv4Address) : &ipv6Address, port);
}

IpInfo::IpInfo(const plat::MBuf<unsigned char>& binAddr, int port) {
  os::socketInit();
  PLAT_REQUIRE_AS(binAddr.size() == Ipv4Size || binAddr.size() == Ipv6Size,
                  "binAddr.length() == 4 || ((binAddr.length()) == 16)", __FILE__, __LINE__);
  build(binAddr.size() == Ipv4Size ? AF_INET : AF_INET6, binAddr.data(), port);
}

IpInfo::IpInfo(const PktInfo& info, int port) {
  os::socketInit();
  const plat::MBuf<unsigned char> binAddr = info.binaryAddress();
  build(info.family(), binAddr.data(), port);
  // A link-local address means something on its link only (RFC 4007), so nothing could be sent there without it.
  if (family() == AF_INET6 && isLinkLocal()) {
    reinterpret_cast<sockaddr_in6*>(addr_.data())->sin6_scope_id = info.interfaceIndex();
  }
}

IpInfo::IpInfo(int fd, End end) {
  os::socketInit();
  alignas(sockaddr_storage) unsigned char room[AddressRoom];
  auto* const address = reinterpret_cast<sockaddr*>(room);
  socklen_t length = sizeof room;
  if (end == End::Local && ::getsockname(fd, address, &length) != 0) {
    throw plat::SystemException("getsockname", errno);
  }
  if (end == End::Peer && ::getpeername(fd, address, &length) != 0) {
    throw plat::SystemException("getpeername", errno);
  }
  assign(address, length);
}

void IpInfo::assign(const sockaddr* address, socklen_t length) {
  PLAT_REQUIRE_AS(length == sizeof(sockaddr_in) || length == sizeof(sockaddr_in6),
                  "len == sizeof(sockaddr_in) || ((len) == sizeof(sockaddr_in6))", __FILE__, __LINE__);
  addr_.assign(reinterpret_cast<const unsigned char*>(address), static_cast<int>(length));
  // A family with the other's length would have us read past the end.
  PLAT_REQUIRE_AS((family() == AF_INET && length == sizeof(sockaddr_in)) ||
                      (family() == AF_INET6 && length == sizeof(sockaddr_in6)),
                  "family() == 2 || ((family()) == 10)", __FILE__, __LINE__);
}

void IpInfo::build(int family, const void* binAddr, int port) {
  PLAT_REQUIRE(port >= 0 && port <= MaxPort);
  const in_port_t netPort = htons(static_cast<std::uint16_t>(port));
  if (family == AF_INET) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = netPort;
    std::memcpy(&address.sin_addr, binAddr, sizeof address.sin_addr);
    assign(reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } else {
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = netPort;
    std::memcpy(&address.sin6_addr, binAddr, sizeof address.sin6_addr);
    assign(reinterpret_cast<const sockaddr*>(&address), sizeof address);
  }
}

const sockaddr* IpInfo::address() const noexcept {
  return reinterpret_cast<const sockaddr*>(addr_.data());
}

int IpInfo::family() const noexcept {
  return address()->sa_family;
}

int IpInfo::port() const noexcept {
  return ntohs(family() == AF_INET6 ? ipv6(address()).sin6_port : ipv4(address()).sin_port);
}

const unsigned char* IpInfo::binaryStart() const noexcept {
  return family() == AF_INET6 ? ipv6(address()).sin6_addr.s6_addr
                              : reinterpret_cast<const unsigned char*>(&ipv4(address()).sin_addr);
}

int IpInfo::binarySize() const noexcept {
  return family() == AF_INET6 ? Ipv6Size : Ipv4Size;
}

plat::MBuf<unsigned char> IpInfo::binaryAddress() const {
  return {binaryStart(), binarySize()};
}

bool IpInfo::equals(const IpInfo* other) const noexcept {
  // Not the structures as a whole: they hold padding, and for IPv6 flow label and scope, which do not count here.
  return other != nullptr && family() == other->family() && port() == other->port() &&
         std::memcmp(binaryStart(), other->binaryStart(), static_cast<std::size_t>(binarySize())) == 0;
}

bool IpInfo::isAny() const noexcept {
  return family() == AF_INET6 ? IN6_IS_ADDR_UNSPECIFIED(&ipv6(address()).sin6_addr)
                              : ipv4(address()).sin_addr.s_addr == htonl(INADDR_ANY);
}

bool IpInfo::isLoopback() const noexcept {
  return family() == AF_INET6 ? IN6_IS_ADDR_LOOPBACK(&ipv6(address()).sin6_addr)
                              : ipv4(address()).sin_addr.s_addr == htonl(INADDR_LOOPBACK);
}

bool IpInfo::isLinkLocal() const noexcept {
  const unsigned char* const bytes = binaryStart();
  return family() == AF_INET6 ? IN6_IS_ADDR_LINKLOCAL(&ipv6(address()).sin6_addr) : bytes[0] == 169 && bytes[1] == 254;
}

const plat::String& IpInfo::numericHostName() const {
  if (numericHost_.isNull()) {
    char host[NumericHostRoom];
    const int code = ::getnameinfo(address(), addressLength(), host, sizeof host, nullptr, 0, NI_NUMERICHOST);
    if (code != 0) {
      throw GetAddrInfoException("getnameinfo", code);
    }
    numericHost_ = bracketHost(host);
  }
  return numericHost_;
}

const plat::String& IpInfo::endpointText() const {
  if (endpoint_.isNull()) {
    // With no base port there are no offsets: two colons and the port itself, which every reader takes alike.
    endpoint_ = formatEndpoint(numericHostName().get(), port(), -1, -1);
  }
  return endpoint_;
}

plat::String IpInfo::displayText(const char* protocol, const char* hostName) const {
  const plat::String host = hostName ? plat::String(hostName) : stripBrackets(numericHostName().get());
  return plat::String::format("%s::%d (%s)", host.orEmpty(), port(), protocol);
}

}  // namespace io
