#include "base/os/socket/socketOptions.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <netinet/in.h>
#include <netinet/ip.h>
#include <sys/socket.h>

#include "base/os/socket/socketLog.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"

namespace os {

namespace {

constinit int dscpValue = 0;

int readOption(int fd, int option, const char* label) {
  int value = 0;
  socklen_t length = sizeof value;
  if (::getsockopt(fd, SOL_SOCKET, option, &value, &length) != 0) {
    throw plat::SystemExceptionFmt("getsockopt(%s)", errno, label);
  }
  return value;
}

bool trySetOption(int fd, int level, int option, int value) noexcept {
  return ::setsockopt(fd, level, option, &value, sizeof value) == 0;
}

}  // namespace

/// What the system says may be above what was asked for: Linux keeps twice the size for its own bookkeeping
/// (socket(7)). It may also be below, as the system's limit cuts it in silence; hence it is read again.
int growSocketBuffer(int fd, int size, int option, const char* label) {
  const int present = readOption(fd, option, label);
  if (present < 1 || size <= present) {
    return present;
  }
  while (!trySetOption(fd, SOL_SOCKET, option, size)) {
    if (errno != ENOBUFS && errno != ENOMEM) {
      throw plat::SystemExceptionFmt("setsockopt(%s)", errno, label);
    }
    // The system may have less to spare than what was asked for, but mostly more than there is now.
    size = size / 5 * 4;
    if (size <= present) {
      return present;
    }
  }
  return readOption(fd, option, label);
}

void setReceiveBuffer(int fd, int size) {
  socketLog.debug("Using receive buffer size of %d KiB", growSocketBuffer(fd, size, SO_RCVBUF, "SO_RCVBUF") / 1024);
}

void setSendBuffer(int fd, int size) {
  socketLog.debug("Using send buffer size of %d KiB", growSocketBuffer(fd, size, SO_SNDBUF, "SO_SNDBUF") / 1024);
}

void setDscp(int value) noexcept {
  dscpValue = value;
}

void applyDscp(int fd) {
  if (dscpValue <= 0) {
    return;
  }
  // By the family: each has an option of its own for the class, and other sockets have none.
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    return;
  }
  // RFC 2474 has the class in the upper six bits, RFC 3168 uses the others.
  const int trafficClass = dscpValue * 4;  // the two low bits belong to congestion notification
  bool done = true;
  if (address.ss_family == AF_INET) {
    done = trySetOption(fd, IPPROTO_IP, IP_TOS, trafficClass);
  } else if (address.ss_family == AF_INET6) {
    done = trySetOption(fd, IPPROTO_IPV6, IPV6_TCLASS, trafficClass);
  }
  if (!done) {
    socketLog.debug("setsockopt(DSCP, %d): %s", dscpValue, std::strerror(errno));
  }
}

void applyDscpIfValid(int fd) {
  if (fd >= 0) {
    applyDscp(fd);
  }
}

void setIpv6Only(int fd) {
  if (!trySetOption(fd, IPPROTO_IPV6, IPV6_V6ONLY, 1)) {
    socketLog.debug("%s", plat::SystemException("setsockopt(IPV6_V6ONLY)", errno).message);
  }
}

bool setPathMtuDiscovery(int fd, int family, bool on) {
  // IPv6's option goes to the IP level as well, where its number means another option: callers take it as a mere wish.
  constexpr int IpLevel = 0;
  constexpr int Ipv6MtuDiscover = 23;
  constexpr int Probe = 3;
  const bool isIpv6 = family == AF_INET6;
  const int option = isIpv6 ? Ipv6MtuDiscover : IP_MTU_DISCOVER;
  // Probing lets packets out that are larger than what the system believes of the path (ip(7)), so that a caller can
  // search for itself; where that is not to be had, splitting is at least forbidden.
  const bool done = on ? trySetOption(fd, IpLevel, option, Probe) || trySetOption(fd, IpLevel, option, IP_PMTUDISC_DO)
                       : trySetOption(fd, IpLevel, option, IP_PMTUDISC_DONT);
  if (done) {
    return true;
  }
  const char* const prefix = isIpv6 ? "IPV6" : "IP";
  socketLog.debug("setsockopt(%s_MTU_DISCOVER,%s_PMTUDISC_%s): %s", prefix, prefix, on ? "DO" : "DONT",
                  std::strerror(errno));
  return isIpv6;
}

}  // namespace os
