#pragma once

namespace os {

/// Settings of single sockets. Failures raise plat::SystemException where it is said; else they are logged.

/// Enlarge the system's buffer of a socket to about `size` bytes, or as much of it as there is memory for; it is never
/// shrunk. @throws plat::SystemException "getsockopt(SO_RCVBUF)", "setsockopt(SO_RCVBUF)" or with SO_SNDBUF
void setReceiveBuffer(int fd, int size);
void setSendBuffer(int fd, int size);

/// What the two above do, for any buffer option of the socket level.
/// @param label the option's name for messages. @return the size in bytes that the system now says.
int growSocketBuffer(int fd, int size, int option, const char* label);

/// The traffic class (a DSCP, 0 to 63) for sockets from now on; 0 leaves them alone.
void setDscp(int value) noexcept;
/// Marks an IP socket with the traffic class; does nothing to other sockets.
void applyDscp(int fd);
/// applyDscp() unless `fd` is negative.
void applyDscpIfValid(int fd);

/// Leaves the IPv4 port of the same number alone; a failure is logged.
void setIpv6Only(int fd);

/// Whether a socket probes the path for its largest packet instead of letting packets be split.
/// @return false if the system would not; true for IPv6, where nothing is promised.
bool setPathMtuDiscovery(int fd, int family, bool on);

}  // namespace os
