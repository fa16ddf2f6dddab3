#pragma once

#include <sys/socket.h>

#include "base/os/unix/LateFunction.h"

namespace os {

/// The system's descriptor and socket calls, each with one decision in it: no descriptor is ever inherited by accident,
/// and the process stays within what select(2) can watch. Descriptors are plain numbers that the caller closes.
/// What raises, raises plat::SystemException with the words given and the call's errno.

/// What every process that uses sockets needs once: SIGPIPE ignored, unless somebody handles it, and no more than 1024
/// descriptors. Failures are logged. openSocket() and what builds on it call it; so does every connection.
void socketInit();

/// Undoes socketInit() for a program about to be executed: SIGPIPE to its default and, with `restoreLimit`, the soft
/// limit of descriptors that was found. Safe between fork and exec.
void socketRestoreForExec(bool restoreLimit) noexcept;

/// Whether a program executed later gets the descriptor. @return false on failure, with errno set and, with
/// `closeOnFailure`, `fd` closed.
bool setInheritable(int fd, bool inheritable, bool closeOnFailure) noexcept;
/// @throws plat::SystemException "setInheritable"
void setInheritableOrThrow(int fd, bool inheritable, bool closeOnFailure);
/// @throws plat::SystemException "getInheritable"
bool getInheritable(int fd);

/// Sets the blocking mode and clears every other status flag that can be set, O_APPEND among them.
/// @throws plat::SystemException "setBlocking"
void setBlocking(int fd, bool blocking);

/// @throws plat::SystemException "fcntl(F_DUPFD_CLOEXEC)", "dup", "setInheritable"
int dupCloseOnExec(int fd);

/// Makes `to` a copy of `from`; equal numbers fail with EINVAL. @throws plat::SystemException "dup2"
void dup2CloseOnExec(int from, int to);
/// @return false on failure, with errno set.
bool dup2CloseOnExecNoThrow(int from, int to) noexcept;

/// @param fds reading end, then writing end. @throws plat::SystemException "pipe2", "pipe", "setInheritable"
void pipeCloseOnExec(int (&fds)[2]);

/// Two connected stream sockets of the Unix family. @throws plat::SystemException "socketpair", "setInheritable"
void socketPairCloseOnExec(int (&fds)[2]);

/// A socket that is not inherited, or -1 with errno set.
int openSocket(int domain, int type, int protocol);

/// A new socket bound to `addr`. Stream sockets may take an address over from closed connections; IPv6 ones leave the
/// IPv4 port alone. @param reusePort share the port with other sockets that do.
/// @throws plat::SystemException "socket", "setsockopt", "bind"
int bindSocket(const sockaddr* addr, socklen_t addrLength, int type, bool reusePort);

/// Connects, or on a non-blocking socket starts to. @throws plat::SystemException "connect"
void connectSocket(int fd, const sockaddr* addr, socklen_t addrLength, int type);

/// A new socket on its way to `addr`. @throws plat::SystemException "socket", "setBlocking", "connect"
int connectNew(const sockaddr* addr, socklen_t addrLength, int type, bool blocking);

/// The next waiting connection, not inherited; -1 if there is none or it was lost, for the caller to try later.
/// @throws plat::SystemException "accept"
int acceptSocket(int listenFd);

/// What pipeCloseOnExec() and acceptSocket() use if the system has it.
extern LateFunction<int(int*, int)> latePipe2;
extern LateFunction<int(int, sockaddr*, socklen_t*, int)> lateAccept4;

}  // namespace os
