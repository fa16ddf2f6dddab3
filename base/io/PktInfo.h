#pragma once

#include <sys/socket.h>

#include "base/plat/MBuf.h"

namespace io {

/// Which local address a datagram was sent to, so that the answer can leave from the same one.
///
/// Purpose:   a server bound to "any address" of a host with several has the system tell (setEnabled), takes the record
///            out of what recvmsg(2) filled in (read) and puts it into what goes to sendmsg(2) (write).
/// A value; holds nothing until read() has found a record. Descriptors and message headers belong to the caller.
class PktInfo final {
public:
  /// Whether the system tells the address with each datagram of this socket. @param family of the socket.
  /// @throws plat::SystemException "getsockopt(IP_PKTINFO)", "getsockopt(IPV6_RECVPKTINFO)";
  ///   plat::AssertionFail "family == 2 || ((family) == 10)"
  static bool enabled(int fd, int family);
  /// @throws plat::SystemException "setsockopt(IP_PKTINFO)", "setsockopt(IPV6_RECVPKTINFO)"; plat::AssertionFail
  ///   likewise
  static void setEnabled(int fd, int family, bool on);

  /// Bytes of control messages that hold one record: 32 for IPv4, 40 for IPv6, 0 for any other family.
  static int controlSize(int family) noexcept;

  /// Takes the first record among the control messages of a received message. @return false, with this object holding
  /// nothing, if there is none.
  bool read(const msghdr& message);

  /// Makes the record the only control message of one to be sent. The interface goes along only where the address
  /// means nothing without it (link-local IPv6); otherwise the system's routes decide. Holding nothing, this object
  /// leaves the choice of the address to the system.
  /// @param message its `msg_control` has room for controlSize(family()) bytes, as `msg_controllen` tells; that is set
  ///   to what is used.
  /// @throws plat::AssertionFail "message.msg_controllen >= size" without that room
  void write(msghdr& message) const;

  /// AF_INET or AF_INET6; AF_UNSPEC while this object holds nothing.
  int family() const noexcept { return family_; }
  /// The destination of the datagram, 4 or 16 bytes in network order.
  /// @throws plat::AssertionFail "family_ == 2 || ((family_) == 10)" if this object holds nothing
  plat::MBuf<unsigned char> binaryAddress() const;
  /// The interface that the datagram came in by; 0 if this object holds nothing.
  unsigned interfaceIndex() const noexcept;

  /// Same family and same destination, by whatever interface.
  friend bool operator==(const PktInfo& a, const PktInfo& b) noexcept;

private:
  int family_ = AF_UNSPEC;
  plat::MBuf<unsigned char> control_;  // an in_pktinfo or an in6_pktinfo; empty for AF_UNSPEC
};

}  // namespace io
