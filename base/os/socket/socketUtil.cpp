#include "base/os/socket/socketUtil.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/os/socket/socketLog.h"
#include "base/os/socket/socketOptions.h"
#include "base/os/unix/UniqueFd.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"

namespace os {

plat::LogSrc socketLog("SocketUtil");

constinit LateFunction<int(int*, int)> latePipe2("pipe2");
constinit LateFunction<int(int, sockaddr*, socklen_t*, int)> lateAccept4("accept4");

namespace {

std::atomic<bool> initDone = false;
rlimit savedFileLimit = {};
bool fileLimitRead = false;

// Cleared when the system turns out not to know the modern flags, so that later calls go straight to the older way.
std::atomic<bool> haveCloexecFlags = true;
std::atomic<bool> haveDupCloexec = true;

/// A peer that has gone is an error of the write that finds it so, not the end of the process.
void ignoreSigPipe() noexcept {
  struct sigaction action = {};
  if (::sigaction(SIGPIPE, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
      action.sa_handler == SIG_DFL) {
    ::signal(SIGPIPE, SIG_IGN);
  }
}

void limitDescriptors() {
  if (::getrlimit(RLIMIT_NOFILE, &savedFileLimit) != 0) {
    socketLog.error("%s", plat::SystemException("getrlimit(RLIMIT_NOFILE)", errno).message);
    return;
  }
  fileLimitRead = true;
  if (savedFileLimit.rlim_cur > FD_SETSIZE) {
    // The soft limit alone: what is taken off the hard one could not be given back to a program that is executed later.
    const rlimit lower = {FD_SETSIZE, savedFileLimit.rlim_max};
    if (::setrlimit(RLIMIT_NOFILE, &lower) != 0) {
      socketLog.error("%s", plat::SystemException("setrlimit(RLIMIT_NOFILE)", errno).message);
    }
  }
}

/// Both or none: what is left after a failure is closed.
void setPairNotInheritable(const int (&fds)[2]) {
  UniqueFd first(fds[0]);
  UniqueFd second(fds[1]);
  setInheritableOrThrow(first.get(), false, false);
  setInheritableOrThrow(second.get(), false, false);
  first.release();
  second.release();
}

void setOption(int fd, int option) {
  const int on = 1;
  if (::setsockopt(fd, SOL_SOCKET, option, &on, sizeof on) != 0) {
    throw plat::SystemException("setsockopt", errno);
  }
}

void prepareAndBind(int fd, const sockaddr* addr, socklen_t addrLength, int type, bool reusePort) {
  if (type == SOCK_STREAM) {
    setOption(fd, SO_REUSEADDR);
  }
  if (reusePort) {
    setOption(fd, SO_REUSEPORT);
  }
  if (addr->sa_family == AF_INET6) {
    setIpv6Only(fd);
  }
  if (::bind(fd, addr, addrLength) != 0) {
    throw plat::SystemException("bind", errno);
  }
  if (type == SOCK_DGRAM) {
    applyDscp(fd);
  }
}

int acceptOnce(int listenFd) {
  if (auto* const accept4 = lateAccept4.get()) {
    return accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
  }
  const int fd = ::accept(listenFd, nullptr, nullptr);
  return fd >= 0 && !setInheritable(fd, false, true) ? -1 : fd;
}

}  // namespace

void socketInit() {
  // Of two threads the first one alone may look at the limit: the second would keep the lowered one for the next
  // program.
  if (initDone || initDone.exchange(true)) {
    return;
  }
  ignoreSigPipe();
  limitDescriptors();
}

void socketRestoreForExec(bool restoreLimit) noexcept {
  ::signal(SIGPIPE, SIG_DFL);
  if (restoreLimit && fileLimitRead) {
    rlimit limit = {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
      limit.rlim_cur = savedFileLimit.rlim_cur;
      ::setrlimit(RLIMIT_NOFILE, &limit);
    }
  }
}

bool setInheritable(int fd, bool inheritable, bool closeOnFailure) noexcept {
  const int flags = ::fcntl(fd, F_GETFD);
  if (flags >= 0 && ::fcntl(fd, F_SETFD, inheritable ? flags & ~FD_CLOEXEC : flags | FD_CLOEXEC) == 0) {
    return true;
  }
  if (closeOnFailure) {
    UniqueFd(fd).reset();
  }
  return false;
}

void setInheritableOrThrow(int fd, bool inheritable, bool closeOnFailure) {
  if (!setInheritable(fd, inheritable, closeOnFailure)) {
    throw plat::SystemException("setInheritable", errno);
  }
}

bool getInheritable(int fd) {
  const int flags = ::fcntl(fd, F_GETFD);
  if (flags < 0) {
    throw plat::SystemException("getInheritable", errno);
  }
  return (flags & FD_CLOEXEC) == 0;
}

void setBlocking(int fd, bool blocking) {
  if (::fcntl(fd, F_SETFL, blocking ? 0 : O_NONBLOCK) < 0) {
    throw plat::SystemException("setBlocking", errno);
  }
}

int dupCloseOnExec(int fd) {
  const bool tryFlag = haveDupCloexec;
  if (tryFlag) {
    const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy >= 0) {
      return copy;
    }
    if (errno != EBADF && errno != EINVAL) {
      throw plat::SystemException("fcntl(F_DUPFD_CLOEXEC)", errno);
    }
  }
  // EBADF may be an old system's word for an unknown command: dup tells.
  const bool badFd = tryFlag && errno == EBADF;
  const int copy = ::dup(fd);
  if (copy < 0) {
    throw plat::SystemException(badFd ? "fcntl(F_DUPFD_CLOEXEC)" : "dup", errno);
  }
  haveDupCloexec = false;
  setInheritableOrThrow(copy, false, true);
  return copy;
}

bool dup2CloseOnExecNoThrow(int from, int to) noexcept {
  if (::syscall(SYS_dup3, from, to, O_CLOEXEC) >= 0) {
    return true;
  }
  if (errno != ENOSYS) {
    return false;
  }
  if (from == to) {
    errno = EINVAL;
    return false;
  }
  return ::dup2(from, to) >= 0 && setInheritable(to, false, true);
}

void dup2CloseOnExec(int from, int to) {
  if (!dup2CloseOnExecNoThrow(from, to)) {
    throw plat::SystemException("dup2", errno);
  }
}

void pipeCloseOnExec(int (&fds)[2]) {
  if (auto* const pipe2 = latePipe2.get()) {
    if (pipe2(fds, O_CLOEXEC) != 0) {
      throw plat::SystemException("pipe2", errno);
    }
    return;
  }
  if (::pipe(fds) != 0) {
    throw plat::SystemException("pipe", errno);
  }
  setPairNotInheritable(fds);
}

void socketPairCloseOnExec(int (&fds)[2]) {
  if (haveCloexecFlags) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) == 0) {
      return;
    }
    if (errno != EPROTONOSUPPORT && errno != EINVAL) {
      throw plat::SystemException("socketpair", errno);
    }
  }
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) {
    throw plat::SystemException("socketpair", errno);
  }
  haveCloexecFlags = false;
  setPairNotInheritable(fds);
}

int openSocket(int domain, int type, int protocol) {
  socketInit();
  if (haveCloexecFlags) {
    const int fd = ::socket(domain, type | SOCK_CLOEXEC, protocol);
    if (fd >= 0 || (errno != EPROTONOSUPPORT && errno != EINVAL)) {
      return fd;
    }
  }
  const int fd = ::socket(domain, type, protocol);
  if (fd < 0) {
    return -1;  // the protocol was the trouble, not the flag
  }
  haveCloexecFlags = false;
  return setInheritable(fd, false, true) ? fd : -1;
}

int bindSocket(const sockaddr* addr, socklen_t addrLength, int type, bool reusePort) {
  UniqueFd fd(openSocket(addr->sa_family, type, 0));
  if (!fd) {
    throw plat::SystemException("socket", errno);
  }
  prepareAndBind(fd.get(), addr, addrLength, type, reusePort);
  return fd.release();
}

void connectSocket(int fd, const sockaddr* addr, socklen_t addrLength, int type) {
  while (::connect(fd, addr, addrLength) != 0 && errno != EINPROGRESS) {
    if (errno != EINTR) {
      throw plat::SystemException("connect", errno);
    }
  }
  if (type != SOCK_STREAM) {
    applyDscp(fd);
  }
}

int connectNew(const sockaddr* addr, socklen_t addrLength, int type, bool blocking) {
  UniqueFd fd(openSocket(addr->sa_family, type, 0));
  if (!fd) {
    throw plat::SystemException("socket", errno);
  }
  if (!blocking) {
    setBlocking(fd.get(), false);
  }
  connectSocket(fd.get(), addr, addrLength, type);
  return fd.release();
}

int acceptSocket(int listenFd) {
  int fd;
  while ((fd = acceptOnce(listenFd)) < 0) {
    // A connection may be gone by the time that it is taken, and EPERM is a packet filter's refusal: the socket that
    // listens is sound.
    switch (errno) {
      case EINTR:
        continue;
      case ECONNABORTED:
      case EAGAIN:
      case EPERM:
        return -1;
      default:
        throw plat::SystemException("accept", errno);
    }
  }
  applyDscp(fd);
  return fd;
}

}  // namespace os
