#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include "base/io/IpInfo.h"
#include "base/os/socket/socketUtil.h"

namespace test {

/// Closes its descriptor at the end.
class Fd {
public:
  Fd(int fd) noexcept : fd_(fd) {}
  ~Fd() { ::close(fd_); }
  Fd(const Fd&) = delete;
  Fd& operator=(const Fd&) = delete;
  operator int() const noexcept { return fd_; }

private:
  int fd_;
};

inline int bindTo(const io::IpInfo& address, int type = SOCK_STREAM, bool reusePort = false) {
  return os::bindSocket(address.address(), address.addressLength(), type, reusePort);
}

inline int connectTo(const io::IpInfo& address, int type = SOCK_STREAM, bool blocking = true) {
  return os::connectNew(address.address(), address.addressLength(), type, blocking);
}

inline io::IpInfo localAddress(int fd) {
  return {fd, io::IpInfo::End::Local};
}

inline int intOption(int fd, int level, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  ::getsockopt(fd, level, option, &value, &length);
  return value;
}

}  // namespace test
