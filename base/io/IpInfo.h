#pragma once

#include <sys/socket.h>

#include "base/plat/MBuf.h"
#include "base/plat/String.h"

namespace io {

/// An IPv4 or IPv6 socket address, with its texts. A value that never changes; looks up no names.
class IpInfo final {
public:
  enum class End { Local, Peer };

  /// @throws plat::AssertionFail if it is not an address of 16 (IPv4) or 28 (IPv6) bytes
  IpInfo(const sockaddr* address, socklen_t length);

  /// @param host numeric, without brackets. @param port 0 to 65535.
  /// @throws GetAddrInfoException "getaddrinfo"
  IpInfo(const char* host, int port);

  /// The address of one end of a socket. @throws plat::SystemException "getsockname", "getpeername"
  IpInfo(int fd, End end);

  /// AF_INET or AF_INET6.
  int family() const noexcept;
  int port() const noexcept;

  /// Exactly 127.0.0.1 or ::1: not all that the system would loop back.
  bool isLoopback() const noexcept;

  /// The address as text, in brackets if it holds colons. @throws GetAddrInfoException "getnameinfo"
  const plat::String& numericHostName() const;

  /// "host::port" with the numeric host.
  const plat::String& endpointText() const;

  /// "host::port (protocol)" for messages. @param hostName the name that the user knows; null for the numeric host,
  /// without brackets.
  plat::String displayText(const char* protocol, const char* hostName) const;

  const sockaddr* address() const noexcept;
  socklen_t addressLength() const noexcept { return static_cast<socklen_t>(addr_.size()); }

private:
  void assign(const sockaddr* address, socklen_t length);

  plat::MBuf<unsigned char> addr_;
  mutable plat::String endpoint_;     // null until asked for
  mutable plat::String numericHost_;  // null until asked for
};

}  // namespace io
