#include "base/os/adoptFd.h"

#include <sys/socket.h>

#include "base/io/FdIo.h"
#include "base/io/TcpIo.h"
#include "base/os/UnixIo.h"
#include "base/os/socket/socketUtil.h"

namespace os {

namespace {

bool isStreamSocket(int fd) noexcept {
  int type = 0;
  socklen_t length = sizeof type;
  return ::getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length) == 0 && type == SOCK_STREAM;
}

/// The address family of a socket, AF_UNIX if it has no address at all; AF_UNSPEC if the system cannot tell.
int addressFamily(int fd) noexcept {
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    return AF_UNSPEC;
  }
  return length == 0 ? AF_UNIX : address.ss_family;
}

}  // namespace

std::unique_ptr<io::Io> adoptFd(int fd, int inBufSize) {
  // First, as it also tells of a number that is not open, before anything takes it for its own.
  setInheritableOrThrow(fd, false, false);
  switch (isStreamSocket(fd) ? addressFamily(fd) : AF_UNSPEC) {
    case AF_INET:
    case AF_INET6:
      return std::make_unique<io::TcpIo>(fd, true, false, inBufSize);
    case AF_UNIX:
      return std::make_unique<UnixIo>(nullptr, fd, false, inBufSize);
    default:
      return std::make_unique<io::FdIo>(fd, true, false, inBufSize);
  }
}

}  // namespace os
