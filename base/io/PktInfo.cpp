#include "base/io/PktInfo.h"

#include <cerrno>
#include <cstring>

#include <netinet/in.h>

#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace io {

namespace {

static_assert(CMSG_SPACE(sizeof(in_pktinfo)) == 32);
static_assert(CMSG_SPACE(sizeof(in6_pktinfo)) == 40);

// For IPv6 the option has another name than the message that it brings (RFC 3542); for IPv4 one name serves both.
struct Option {
  int level;
  int name;
  const char* getFailure;
  const char* setFailure;
};

const Option& optionOf(int family) {
  static constexpr Option Ipv4 = {IPPROTO_IP, IP_PKTINFO, "getsockopt(IP_PKTINFO)", "setsockopt(IP_PKTINFO)"};
  static constexpr Option Ipv6 = {IPPROTO_IPV6, IPV6_RECVPKTINFO, "getsockopt(IPV6_RECVPKTINFO)",
                                  "setsockopt(IPV6_RECVPKTINFO)"};
  PLAT_REQUIRE_AS(family == AF_INET || family == AF_INET6, "family == 2 || ((family) == 10)", __FILE__, __LINE__);
  return family == AF_INET ? Ipv4 : Ipv6;
}

/// The family whose record this control message is, AF_UNSPEC for any other message.
int familyOf(const cmsghdr& header) noexcept {
  if (header.cmsg_level == IPPROTO_IPV6 && header.cmsg_type == IPV6_PKTINFO) {
    return AF_INET6;
  }
  return header.cmsg_level == IPPROTO_IP && header.cmsg_type == IP_PKTINFO ? AF_INET : AF_UNSPEC;
}

std::size_t recordSize(int family) noexcept {
  return family == AF_INET6 ? sizeof(in6_pktinfo) : family == AF_INET ? sizeof(in_pktinfo) : 0;
}

/// The record in `bytes`, which are malloc'd and so aligned for it.
const in_pktinfo& ipv4(const plat::MBuf<unsigned char>& bytes) noexcept {
  return *reinterpret_cast<const in_pktinfo*>(bytes.data());
}

const in6_pktinfo& ipv6(const plat::MBuf<unsigned char>& bytes) noexcept {
  return *reinterpret_cast<const in6_pktinfo*>(bytes.data());
}

const unsigned char* destination(int family, const plat::MBuf<unsigned char>& bytes) noexcept {
  return family == AF_INET6 ? reinterpret_cast<const unsigned char*>(&ipv6(bytes).ipi6_addr)
                            : reinterpret_cast<const unsigned char*>(&ipv4(bytes).ipi_addr);
}

int addressSize(int family) noexcept {
  return static_cast<int>(family == AF_INET6 ? sizeof(in6_addr) : sizeof(in_addr));
}

}  // namespace

bool PktInfo::enabled(int fd, int family) {
  const Option& option = optionOf(family);
  int value = 0;
  socklen_t length = sizeof value;
  if (::getsockopt(fd, option.level, option.name, &value, &length) != 0) {
    throw plat::SystemException(option.getFailure, errno);
  }
  return value != 0;
}

void PktInfo::setEnabled(int fd, int family, bool on) {
  const Option& option = optionOf(family);
  const int value = on ? 1 : 0;
  if (::setsockopt(fd, option.level, option.name, &value, sizeof value) != 0) {
    throw plat::SystemException(option.setFailure, errno);
  }
}

int PktInfo::controlSize(int family) noexcept {
  const std::size_t size = recordSize(family);
  return size == 0 ? 0 : static_cast<int>(CMSG_SPACE(size));
}

bool PktInfo::read(const msghdr& message) {
  family_ = AF_UNSPEC;
  control_.clear();
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
       header = CMSG_NXTHDR(const_cast<msghdr*>(&message), header)) {
    const int family = familyOf(*header);
    if (family == AF_UNSPEC) {
      continue;
    }
    const std::size_t size = recordSize(family);
    if (header->cmsg_len < CMSG_LEN(size)) {
      return false;  // cut off for want of room
    }
    // Copied, here as in write(): the data of a control message need not be aligned for its type (cmsg(3)).
    control_.assign(CMSG_DATA(header), static_cast<int>(size));
    family_ = family;
    return true;
  }
  return false;
}

void PktInfo::write(msghdr& message) const {
  const auto size = static_cast<std::size_t>(controlSize(family_));
  if (size == 0) {
    message.msg_control = nullptr;
    message.msg_controllen = 0;
    return;
  }
  PLAT_REQUIRE(message.msg_controllen >= size);
  message.msg_controllen = size;
  std::memset(message.msg_control, 0, size);
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_len = CMSG_LEN(recordSize(family_));
  if (family_ == AF_INET) {
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    in_pktinfo record = ipv4(control_);
    record.ipi_ifindex = 0;  // the source is `ipi_spec_dst`, the local address even of a broadcast
    std::memcpy(CMSG_DATA(header), &record, sizeof record);
  } else {
    header->cmsg_level = IPPROTO_IPV6;
    header->cmsg_type = IPV6_PKTINFO;
    in6_pktinfo record = ipv6(control_);
    if (!IN6_IS_ADDR_LINKLOCAL(&record.ipi6_addr)) {
      record.ipi6_ifindex = 0;
    }
    std::memcpy(CMSG_DATA(header), &record, sizeof record);
  }
}

plat::MBuf<unsigned char> PktInfo::binaryAddress() const {
  PLAT_REQUIRE_AS(family_ == AF_INET || family_ == AF_INET6, "family_ == 2 || ((family_) == 10)", __FILE__, __LINE__);
  return {destination(family_, control_), addressSize(family_)};
}

unsigned PktInfo::interfaceIndex() const noexcept {
  return family_ == AF_INET6  ? ipv6(control_).ipi6_ifindex
         : family_ == AF_INET ? static_cast<unsigned>(ipv4(control_).ipi_ifindex)
                              : 0;
}

bool operator==(const PktInfo& a, const PktInfo& b) noexcept {
  return a.family_ == b.family_ &&
         (a.family_ == AF_UNSPEC || std::memcmp(destination(a.family_, a.control_), destination(b.family_, b.control_),
                                                static_cast<std::size_t>(addressSize(a.family_))) == 0);
}

}  // namespace io
