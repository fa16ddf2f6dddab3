#include "apps/kelfops/PrivateSocket.h"

#include <cstdlib>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/os/socket/socketUtil.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"

PrivateSocket::PrivateSocket() {
  const char* temporary = std::getenv("TMPDIR");
  folder_ = std::string(temporary && *temporary ? temporary : "/tmp") + "/kelfops-XXXXXX";
  // Of mode 0700, so that nobody else gets to the socket in it.
  if (!mkdtemp(folder_.data())) {
    throw plat::StdlibException("mkdtemp(%s)", folder_.c_str());
  }
  path_ = folder_ + "/link";
  try {
    listen();
  } catch (const plat::Exception&) {
    remove();
    throw;
  }
}

PrivateSocket::~PrivateSocket() {
  remove();
}

void PrivateSocket::listen() {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path_.size() >= sizeof address.sun_path) {
    throw plat::Exception(plat::Formatted, "%s: too long for a socket", path_.c_str());
  }
  std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
  fd_.reset(os::openSocket(AF_UNIX, SOCK_STREAM, 0));
  if (!fd_) {
    throw plat::StdlibException("socket");
  }
  if (bind(fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || ::listen(fd(), 1) != 0) {
    throw plat::StdlibException("bind(%s)", path_.c_str());
  }
}

void PrivateSocket::remove() noexcept {
  fd_.reset();
  unlink(path_.c_str());
  rmdir(folder_.c_str());
}
