#include "base/io/FdSelectManager.h"

#include <algorithm>
#include <cerrno>

#include <sys/select.h>

#include "base/io/FdHandler.h"
#include "base/plat/exceptions.h"

namespace io {

namespace {

bool canWatch(const FdHandler& handler) noexcept {
  return handler.fd() >= 0 && handler.fd() < FD_SETSIZE;
}

}  // namespace

struct FdSelectManager::ReadySets {
  fd_set read = {}, write = {}, except = {};
};

void FdSelectManager::setFdInterest(FdHandler& handler, bool read, bool write) {
  if (read) {
    readSet_.insert(handler);
  } else {
    readSet_.remove(handler);
  }
  if (write) {
    writeSet_.insert(handler);
  } else {
    writeSet_.remove(handler);
  }
}

void FdSelectManager::handlerRemoved(FdHandler& handler) {
  readSet_.remove(handler);
  writeSet_.remove(handler);
  exceptSet_.remove(handler);
}

bool FdSelectManager::processEvents(int timeoutMs) {
  // Asked for anew in each turn, since a handler of the last one may have started or stopped any timer.
  const int nextTimerMs = timers.timeToNext();
  const bool limitedByTimer = nextTimerMs >= 0 && (timeoutMs < 0 || nextTimerMs <= timeoutMs);
  ReadySets ready;
  const int count = waitForEvents(ready, limitedByTimer ? nextTimerMs : timeoutMs);
  if (count > 0) {
    collectReady(ready);
  }
  dispatch();
  return count != 0 || limitedByTimer;
}

/// @param limitMs negative for none. @return how many bits are set; -1 if a signal came, and the sets tell nothing.
int FdSelectManager::waitForEvents(ReadySets& ready, int limitMs) {
  int nfds = 0;
  const auto fill = [&nfds](const HandlerList& list, fd_set& set) {
    for (const FdHandler* handler : list) {
      if (canWatch(*handler)) {
        FD_SET(handler->fd(), &set);
        nfds = std::max(nfds, handler->fd() + 1);
      }
    }
  };
  // Filled afresh each time: select(2) answers in the very sets that it was asked with.
  fill(readSet_, ready.read);
  fill(writeSet_, ready.write);
  fill(exceptSet_, ready.except);
  timeval timeout = {};
  if (limitMs >= 0) {
    timeout = plat::selectLimit(limitMs);
  }
  const int count = ::select(nfds, &ready.read, &ready.write, &ready.except, limitMs >= 0 ? &timeout : nullptr);
  if (count >= 0) {
    return count;
  }
  if (errno != EINTR) {
    throw plat::SystemException("select", errno);
  }
  // The signal's own byte is in a pipe that the next turn reads; this one still serves timers and pending calls.
  return -1;
}

void FdSelectManager::collectReady(const ReadySets& ready) {
  for (FdHandler* handler : handlers) {
    if (!canWatch(*handler)) {
      continue;
    }
    if (FD_ISSET(handler->fd(), &ready.read) || FD_ISSET(handler->fd(), &ready.except)) {
      pendingRead.insert(*handler);
    }
    if (FD_ISSET(handler->fd(), &ready.write)) {
      pendingWrite.insert(*handler);
    }
  }
}

}  // namespace io
