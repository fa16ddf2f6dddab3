#include "base/io/FdKicker.h"

#include <algorithm>

#include <unistd.h>

#include "base/io/FdKickerCallback.h"
#include "base/io/FdManager.h"
#include "base/os/socket/socketUtil.h"
#include "base/os/unix/UniqueFd.h"
#include "base/plat/assert.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/exceptions.h"

namespace io {

FdKicker::FdKicker(FdKickerCallback* kicked) : callback(kicked) {
  int fds[2];
  os::pipeCloseOnExec(fds);
  // The base owns this end from here on and closes it should the rest fail; the other end has no owner yet.
  fd_ = fds[0];
  os::UniqueFd writeEnd(fds[1]);
  os::setBlocking(fd_, false);
  // The writing end too: kick() is called from signal handlers and under the locks of the log, where nothing may wait.
  os::setBlocking(writeEnd.get(), false);
  in = std::make_unique<rdr::FdInStream>(fd_);
  in->setNonBlocking(true);
  fdMgr = FdManager::current();
  PLAT_REQUIRE(fdMgr);
  fdMgr->setRegistered(*this, true);
  fdMgr->setInterest(*this, true, false);
  writeFd = writeEnd.release();
}

FdKicker::~FdKicker() {
  if (fdMgr != nullptr) {
    fdMgr->setInterest(*this, false, false);
    fdMgr->setRegistered(*this, false);
  }
  if (writeFd >= 0 && ownWriteFd) {
    ::close(writeFd);
  }
}

void FdKicker::kick(std::uint8_t byte) noexcept {
  // Nothing can be done about a failure, and a full pipe wakes the loop anyway.
  [[maybe_unused]] const ssize_t written = ::write(writeFd, &byte, 1);
}

bool FdKicker::hasData() {
  return in->nUnread() > 0 || in->check(false, 1);
}

void FdKicker::drain() {
  while (in->check(false, 1)) {
    in->skip(std::min(in->nUnread(), 4096));
    in->checkpoint();
  }
}

void FdKicker::readable() {
  try {
    callback->fdKicked(*this, *in);
  } catch (const rdr::BlockException&) {
    // all bytes have been read
  }
  // For a callback that takes no checkpoint of its own: what it has read must not come again with the next kick.
  in->checkpoint();
}

void FdKicker::managerGone() {
  fdMgr = nullptr;
}

}  // namespace io
