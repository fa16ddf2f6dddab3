#include "base/os/UnixIo.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/io/endpoint.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/unix/UniqueFd.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace os {

namespace {

static_assert(sizeof(ucred) == 12);

sockaddr_un unixAddress(const char* path) {
  PLAT_REQUIRE_AS(path, "path", "base/os/unix/UnixIo", __LINE__);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(path);
  // With the terminator it has to fit: a path that is cut would lead to another socket.
  if (length >= sizeof address.sun_path) {
    throw plat::SystemException("UnixIo", ENAMETOOLONG);
  }
  std::memcpy(address.sun_path, path, length);
  return address;
}

UniqueFd openUnixSocket(bool datagram) {
  UniqueFd fd(openSocket(AF_UNIX, datagram ? SOCK_DGRAM : SOCK_STREAM, 0));
  if (!fd) {
    throw plat::SystemException("socket", errno);
  }
  return fd;
}

/// 0, or the errno of connect(2), never EINTR.
int tryConnect(int fd, const sockaddr_un& address) noexcept {
  for (;;) {
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return 0;
    }
    if (errno != EINTR) {
      return errno;
    }
  }
}

int connectUnix(const char* path, bool datagram) {
  const sockaddr_un address = unixAddress(path);
  UniqueFd fd = openUnixSocket(datagram);
  const int error = tryConnect(fd.get(), address);
  if (error != 0) {
    throw plat::SystemException("connect", error);
  }
  return fd.release();
}

ucred peerCredentials(int fd) {
  ucred credentials = {};
  socklen_t length = sizeof credentials;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) {
    throw plat::SystemException("namedPipeCredCheck", errno);
  }
  if (length != sizeof credentials) {
    throw plat::SystemException("namedPipeCredCheck", EINVAL);
  }
  return credentials;
}

std::string describe(const char* path, bool client, int fd) {
  std::string name = client ? "<unix-client-" : "<unix-server-";
  name += path ? path : "anon";
  try {
    name += "-uid-" + std::to_string(peerCredentials(fd).uid);
  } catch (const plat::Exception&) {
    // a name without the user will do
  }
  return name + ">";
}

/// The path of the socket's peer; empty unless it is absolute.
std::string peerPath(int fd) {
  sockaddr_un address = {};
  socklen_t length = sizeof address;
  constexpr std::size_t PathStart = offsetof(sockaddr_un, sun_path);
  if (::getpeername(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0 || length <= PathStart ||
      address.sun_path[0] != '/') {
    return {};
  }
  // The system may report one byte more than fits: a path of full length has no terminator.
  const std::size_t room = std::min<std::size_t>(length - PathStart, sizeof address.sun_path);
  return {address.sun_path, ::strnlen(address.sun_path, room)};
}

std::string escapePath(const std::string& path) {
  std::string escaped;
  for (std::size_t start = 0;;) {
    const std::size_t slash = path.find('/', start);
    escaped += io::escapeEndpoint(path.substr(start, slash - start).c_str()).orEmpty();
    if (slash == std::string::npos) {
      return escaped;
    }
    escaped += '/';
    start = slash + 1;
  }
}

}  // namespace

UnixIo::UnixIo(const char* path, int socketFd, bool datagram, int inBufSize, int maxOutBufSize)
    : io::FdIo(socketFd < 0 ? connectUnix(path, datagram) : socketFd, true, false, inBufSize, maxOutBufSize, true) {
  name_ = plat::String(describe(path, socketFd < 0, fd()));
  flags().insert("secureTransport");
}

UnixIo::~UnixIo() = default;

plat::String UnixIo::peerEndpoint() {
  if (peerPath_.empty()) {
    const std::string path = peerPath(fd());
    if (path.empty()) {
      return "";
    }
    peerPath_ = plat::String("[unix:" + escapePath(path) + "]");
  }
  return peerPath_;
}

bool UnixIo::canConnect(const char* path, bool datagram) {
  const sockaddr_un address = unixAddress(path);
  const UniqueFd fd = openUnixSocket(datagram);
  // A listener whose queue is full would have this wait, when that alone is the answer.
  if (!datagram) {
    setBlocking(fd.get(), false);
  }
  const int error = tryConnect(fd.get(), address);
  switch (error) {
    case 0:
      return true;
    case ECONNREFUSED:
    case ENOENT:
    case EDESTADDRREQ:
      return false;
    default:
      if (error == EAGAIN && !datagram) {
        return true;  // the queue is full, so there is a listener
      }
      throw plat::SystemException("connect", error);
  }
}

void UnixIo::namedPipeCredCheck(int uid) {
  if (peerCredentials(fd()).uid != static_cast<uid_t>(uid)) {
    throw plat::Exception("namedPipeCredCheck: uid mismatch");
  }
}

}  // namespace os
