#include "base/rdr/fdWait.h"

#include <algorithm>
#include <cerrno>

#include <sys/select.h>

#include "base/plat/Time.h"
#include "base/plat/exceptions.h"

namespace rdr {

namespace {

/// One select(2). Answers its result; `timeoutMs` negative for no limit.
int selectOnce(int fd, int timeoutMs, bool forRead, bool forWrite) {
  fd_set readSet;
  fd_set writeSet;
  FD_ZERO(&readSet);
  FD_ZERO(&writeSet);
  if (forRead) {
    FD_SET(fd, &readSet);
  }
  if (forWrite) {
    FD_SET(fd, &writeSet);
  }
  timeval limit = plat::selectLimit(std::max(timeoutMs, 0));
  return select(fd + 1, &readSet, &writeSet, nullptr, timeoutMs >= 0 ? &limit : nullptr);
}

}  // namespace

bool waitForFd(int fd, int timeoutMs, bool forRead, bool forWrite) {
  if (fd < 0 || fd >= FD_SETSIZE) {
    throw plat::SystemException("select", fd < 0 ? EBADF : EMFILE);
  }
  const plat::FileTime deadline = timeoutMs > 0 ? plat::getMonoTime() + timeoutMs * plat::TicksPerMs : 0;
  while (true) {
    const int ready = selectOnce(fd, timeoutMs, forRead, forWrite);
    if (ready >= 0) {
      return ready > 0;
    }
    const int error = errno;
    if (error != EINTR) {
      throw plat::SystemException("select", error);
    }
    // A signal must not begin the wait anew: a process that gets them often would never time out.
    if (timeoutMs > 0) {
      timeoutMs = std::min(plat::msUntil(deadline, plat::getMonoTime()), timeoutMs);
    }
  }
}

}  // namespace rdr
