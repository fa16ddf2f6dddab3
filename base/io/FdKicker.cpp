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

FdKicker::FdKicker(FdKickerCallback* kicked) : callback_(kicked) {
  int fds[2];
  os::pipeCloseOnExec(fds);
  // The base owns this end from here on and closes it should the rest fail; the other end has no owner yet.
  fd_ = fds[0];
  os::UniqueFd writeEnd(fds[1]);
  os::setBlocking(fd_, false);
  // The writing end too: kick() is called from signal handlers and under the locks of the log, where nothing may wait.
  os::setBlocking(writeEnd.get(), false);
  in_ = std::make_unique<rdr::FdInStream>(fd_);
  in_->setNonBlocking(true);
  fdMgr_ = FdManager::current();
  PLAT_REQUIRE_AS(fdMgr_, "fdMgr", __FILE__, __LINE__);
  fdMgr_->setRegistered(*this, true);
  fdMgr_->setInterest(*this, true, false);
  writeFd_ = writeEnd.release();
}

FdKicker::~FdKicker() {
  if (fdMgr_ != nullptr) {
    fdMgr_->setInterest(*this, false, false);
    fdMgr_->setRegistered(*this, false);
  }
  if (writeFd_ >= 0 && ownWriteFd_) {
    ::close(writeFd_);
  }
}

void FdKicker::kick(std::uint8_t byte) noexcept {
  // Nothing can be done about a failure, and a full pipe wakes the loop anyway.
  [[maybe_unused]] const ssize_t written = ::write(writeFd_, &byte, 1);
}

bool FdKicker::hasData() {
  return in_->nUnread() > 0 || in_->check(false, 1);
}

void FdKicker::drain() {
  while (in_->check(false, 1)) {
    in_->skip(std::min(in_->nUnread(), 4096));
    in_->checkpoint();
  }
}

void FdKicker::readable() {
  try {
    callback_->fdKicked(*this, *in_);
  } catch (const rdr::BlockException&) {
    // all bytes have been read
  }
  // For a callback that takes no checkpoint of its own: what it has read must not come again with the next kick.
  in_->checkpoint();
}

void FdKicker::managerGone() {
  fdMgr_ = nullptr;
}

}  // namespace io
