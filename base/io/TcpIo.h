#pragma once

#include <memory>

#include "base/io/FdIo.h"
#include "base/io/IpInfo.h"
#include "base/plat/String.h"

namespace io {

/// A connection on a TCP socket.
///
/// Ownership, thread and end are those of FdIo.
/// Names are asked of the system when they are wanted, kept, and never throw: what fails is logged and gives empty
/// text. If both ends are loopback addresses the connection carries the flag "secureTransport".
class TcpIo : public FdIo {
public:
  /// @param socketFd a TCP socket. @param isConnecting its connect is under way: nothing is asked of the socket yet.
  /// @param closeAtEnd,inBufSize,maxOutBufSize as for FdIo.
  /// @throws plat::SystemException "getsockname", "getpeername" unless `isConnecting`
  TcpIo(int socketFd, bool closeAtEnd, bool isConnecting, int inBufSize = -1, int maxOutBufSize = -1);
  ~TcpIo() override;

  /// The name by which the user knows the peer, or null; to be set before the names below are asked for.
  void setHostName(const char* hostName);

  const char* displayName() override;
  plat::String peerEndpoint() override;
  plat::String resolvedPeerEndpoint() override;
  plat::String peerAddress() override;
  plat::String myEndpoint() override;

  /// Sends small packets at once (false) or lets the system collect them (true). True on success; `errno` otherwise.
  static bool setNoDelay(int socketFd, bool nagle) noexcept;

  /// The key of the text that explains a connection error to the user, or null.
  static const char* tcpErrorKey(int error) noexcept;

private:
  const IpInfo& myInfo();
  const IpInfo& peerInfo();

  std::unique_ptr<IpInfo> myInfo_;
  std::unique_ptr<IpInfo> peerInfo_;
  plat::String hostName_;
  plat::String peerEndpointText_;
  plat::String displayText_;
};

}  // namespace io
