#pragma once

#include <stdexcept>

#include <sys/socket.h>

#include "base/io/IpInfo.h"
#include "base/os/socket/socketUtil.h"
#include "tests/support/descriptors.h"

namespace test {

inline int bindTo(const io::IpInfo& address, int type = SOCK_STREAM, bool reusePort = false) {
  return os::bindSocket(address.address(), address.addressLength(), type, reusePort);
}

inline int connectTo(const io::IpInfo& address, int type = SOCK_STREAM, bool blocking = true) {
  return os::connectNew(address.address(), address.addressLength(), type, blocking);
}

inline io::IpInfo localAddress(int fd) {
  return {fd, io::IpInfo::End::Local};
}

/// A TCP socket that listens at a port of the system's choice.
inline int listenOn(const char* host) {
  const int fd = bindTo(io::IpInfo(host, 0));
  return ::listen(fd, 5) == 0 ? fd : throw std::runtime_error("listen");
}

inline int intOption(int fd, int level, int option) {
  int value = -1;
  socklen_t length = sizeof value;
  ::getsockopt(fd, level, option, &value, &length);
  return value;
}

}  // namespace test
