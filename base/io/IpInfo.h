#pragma once

#include <sys/socket.h>

#include "base/plat/MBuf.h"
#include "base/plat/String.h"

namespace io {

class PktInfo;

/// An IPv4 or IPv6 socket address, with its texts. A value that never changes; looks up no names.
///
/// Its two texts are made when they are first asked for and then kept, so one object belongs to one thread.
class IpInfo final {
public:
  enum class End { Local, Peer };

  /// @throws plat::AssertionFail if it is not an address of 16 (IPv4) or 28 (IPv6) bytes
  IpInfo(const sockaddr* address, socklen_t length);

  /// @param host numeric, without brackets. @param port 0 to 65535.
  /// @throws GetAddrInfoException "getaddrinfo"
  IpInfo(const char* host, int port);

  /// Any address of the family, or its loopback. @param port 0 to 65535; so for all that take a port.
  /// @throws plat::AssertionFail "family == 2 || ((family) == 10)", or for the port
  IpInfo(int port, bool loopback, int family);

  /// @param binAddr 4 (IPv4) or 16 (IPv6) bytes in network order.
  /// @throws plat::AssertionFail "binAddr.length() == 4 || ((binAddr.length()) == 16)", or for the port
  IpInfo(const plat::MBuf<unsigned char>& binAddr, int port);

  /// The local address that a datagram was sent to; a link-local IPv6 one keeps its interface.
  /// @throws plat::AssertionFail if `info` holds nothing, or for the port
  IpInfo(const PktInfo& info, int port);

  /// The address of one end of a socket. @throws plat::SystemException "getsockname", "getpeername";
  /// plat::AssertionFail if the socket is of another family
  IpInfo(int fd, End end);

  /// AF_INET or AF_INET6.
  int family() const noexcept;
  int port() const noexcept;
  /// 4 or 16 bytes in network order.
  plat::MBuf<unsigned char> binaryAddress() const;

  /// Same family, port and address; null equals nothing.
  bool equals(const IpInfo* other) const noexcept;
  friend bool operator==(const IpInfo& a, const IpInfo& b) noexcept { return a.equals(&b); }

  /// 0.0.0.0 or ::, to which servers bind.
  bool isAny() const noexcept;
  /// Exactly 127.0.0.1 or ::1: not all that the system would loop back.
  bool isLoopback() const noexcept;
  /// 169.254/16 or fe80::/10.
  bool isLinkLocal() const noexcept;

  /// The address as text, in brackets if it holds colons. @throws GetAddrInfoException "getnameinfo"
  const plat::String& numericHostName() const;

  /// "host::port" with the numeric host. @throws GetAddrInfoException "getnameinfo"
  const plat::String& endpointText() const;

  /// "host::port (protocol)" for messages. @param hostName the name that the user knows; null for the numeric host,
  /// without brackets. @throws GetAddrInfoException "getnameinfo"
  plat::String displayText(const char* protocol, const char* hostName) const;

  const sockaddr* address() const noexcept;
  socklen_t addressLength() const noexcept { return static_cast<socklen_t>(addr_.size()); }

private:
  void assign(const sockaddr* address, socklen_t length);
  void build(int family, const void* binAddr, int port);
  const unsigned char* binaryStart() const noexcept;
  int binarySize() const noexcept;

  plat::MBuf<unsigned char> addr_;    // a sockaddr_in or a sockaddr_in6
  mutable plat::String endpoint_;     // null until asked for
  mutable plat::String numericHost_;  // null until asked for
};

}  // namespace io
