#pragma once

#include "base/io/FdIo.h"
#include "base/plat/String.h"

namespace os {

/// A connection on a Unix-domain socket. It cannot leave the machine, so it carries the flag "secureTransport".
///
/// Ownership, thread and end are those of io::FdIo.
/// Its display name tells the side that made it, the path and the peer's user: "<unix-client-/run/pipe-uid-1000>".
class UnixIo : public io::FdIo {
public:
  /// @param path the socket's path; with a socket given only for the display name, and may be null.
  /// @param socketFd a connected socket, taken over; negative to connect to `path`, blocking.
  /// @param inBufSize,maxOutBufSize as for io::FdIo.
  /// @throws plat::SystemException "UnixIo" (ENAMETOOLONG: over 107 bytes), "socket", "connect"
  UnixIo(const char* path, int socketFd, bool datagram, int inBufSize = -1, int maxOutBufSize = -1);
  ~UnixIo() override;

  /// "[unix:/run/pipe]" with the path's elements escaped; empty for a peer without an absolute path.
  plat::String peerEndpoint() override;

  /// Whether somebody listens at `path`. Connects without waiting, and closes again.
  /// @throws plat::SystemException on anything that is no clear answer
  static bool canConnect(const char* path, bool datagram);

  /// Requires that the peer runs as that user.
  /// @throws plat::Exception "namedPipeCredCheck: uid mismatch"; plat::SystemException if the peer's user cannot be had
  void namedPipeCredCheck(int uid);

private:
  plat::String peerPath_;  // null until asked for
};

}  // namespace os
