#include "base/io/IpInfo.h"

#include <cerrno>
#include <memory>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include "base/io/GetAddrInfoException.h"
#include "base/io/endpoint.h"
#include "base/os/socketUtil.h"
#include "base/plat/SystemException.h"
#include "base/plat/assert.h"

namespace io {

namespace {

constexpr std::size_t AddressRoom = 128;
constexpr std::size_t NumericHostRoom = 1025;

}  // namespace

IpInfo::IpInfo(const sockaddr* address, socklen_t length) {
  os::socketInit();
  assign(address, length);
}

IpInfo::IpInfo(const char* host, int port) {
  os::socketInit();
  addrinfo hints = {};
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
                  "len == sizeof(sockaddr_in) || ((len) == sizeof(sockaddr_in6))", "base/io/IpInfo", __LINE__);
  addr_.assign(reinterpret_cast<const unsigned char*>(address), static_cast<int>(length));
  PLAT_REQUIRE_AS(family() == AF_INET || family() == AF_INET6, "family() == 2 || ((family()) == 10)", "base/io/IpInfo",
                  __LINE__);
}

const sockaddr* IpInfo::address() const noexcept {
  return reinterpret_cast<const sockaddr*>(addr_.data());
}

int IpInfo::family() const noexcept {
  return address()->sa_family;
}

int IpInfo::port() const noexcept {
  return ntohs(family() == AF_INET6 ? reinterpret_cast<const sockaddr_in6*>(address())->sin6_port
                                    : reinterpret_cast<const sockaddr_in*>(address())->sin_port);
}

bool IpInfo::isLoopback() const noexcept {
  if (family() == AF_INET6) {
    return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(address())->sin6_addr);
  }
  return reinterpret_cast<const sockaddr_in*>(address())->sin_addr.s_addr == htonl(INADDR_LOOPBACK);
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
    endpoint_ = formatEndpoint(numericHostName().get(), port(), -1, -1);
  }
  return endpoint_;
}

plat::String IpInfo::displayText(const char* protocol, const char* hostName) const {
  const plat::String host = hostName ? plat::String(hostName) : stripBrackets(numericHostName().get());
  return plat::String::format("%s::%d (%s)", host.orEmpty(), port(), protocol);
}

}  // namespace io
