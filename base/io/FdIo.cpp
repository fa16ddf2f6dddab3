#include "base/io/FdIo.h"

#include <cerrno>
#include <limits>
#include <memory>
#include <utility>

#include <sys/socket.h>

#include "base/io/FdManager.h"
#include "base/io/IoHandler.h"
#include "base/os/socket/socketUtil.h"
#include "base/plat/assert.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/FdInStream.h"
#include "base/rdr/exceptions.h"

namespace io {

namespace {

plat::LogSrc log("FdIo");

plat::IntParameter lazyFlushTimeout("LazyFlushTimeout",
                                    "Maximum number of seconds for which attempts should be made to flush data to an "
                                    "unresponsive client (maximum 49 days)",
                                    60, true, nullptr, 0, std::numeric_limits<int>::max());

int lazyFlushTimeoutMs() {
  constexpr int MaxMs = std::numeric_limits<int>::max();
  const int seconds = lazyFlushTimeout.getValueInt();
  return seconds > MaxMs / 1000 ? MaxMs : seconds * 1000;
}

const char* boolText(bool value) noexcept {
  return value ? "true" : "false";
}

}  // namespace

FdIo::FdIo(int fd, bool own, bool isConnecting, int inBufSize, int maxOutBufSize, bool setNonBlocking) {
  ownFd = own;
  connecting = isConnecting;
  os::socketInit();
  if (fd >= 0) {
    attach(fd, inBufSize, maxOutBufSize, setNonBlocking);
  }
}

FdIo::~FdIo() {
  try {
    FdIo::setHandler(nullptr, true);
  } catch (const plat::Exception& e) {
    plat::warnException(e);
  }
  // Here and not by the bases: Io, which holds the streams, goes after FdHandler, which closes the descriptor. The
  // output's last write would meet a closed number, or one that by then belongs to somebody else.
  in_.reset();
  out_.reset();
}

void FdIo::attach(int newFd, int inBufSize, int maxOutBufSize, bool setNonBlocking) {
  PLAT_REQUIRE_AS(fd_ < 0, "fd < 0", __FILE__, __LINE__);
  // First of all: from here on the base closes it, whatever fails below.
  fd_ = newFd;
  in_ = std::make_unique<rdr::FdInStream>(fd_, inBufSize);
  auto outStream = std::make_unique<rdr::FdOutStream>(fd_, maxOutBufSize);
  outStream->setCallback(this);
  out_ = std::move(outStream);
  if (setNonBlocking) {
    os::setBlocking(fd_, false);
  }
}

rdr::FdInStream& FdIo::fdIn() const noexcept {
  return static_cast<rdr::FdInStream&>(*in_);
}

rdr::FdOutStream& FdIo::fdOut() const noexcept {
  return static_cast<rdr::FdOutStream&>(*out_);
}

void FdIo::setHandler(IoHandler* newHandler, bool wantRead) {
  if (newHandler == nullptr && handler_ == nullptr) {
    return;
  }
  if (fdMgr_ == nullptr) {
    fdMgr_ = FdManager::current();
    PLAT_REQUIRE_AS(fdMgr_, "fdMgr", __FILE__, __LINE__);
  }
  handler_ = newHandler;
  fdMgr_->setRegistered(*this, newHandler != nullptr);
  if (state_ != State::ShuttingDown) {
    updateInterest(newHandler != nullptr && wantRead, newHandler != nullptr && connecting);
  }
  if (newHandler == nullptr) {
    flushTimer_.stop();
    fdMgr_ = nullptr;
  } else {
    if (wantRead && (in_->nUnread() > 0 || fdIn().timedOut())) {
      fdMgr_->setPendingRead(*this);  // select does not report what has left the descriptor
    }
    if (!connecting) {
      fdMgr_->setPendingWrite(*this);
    }
    fdMgr_->wake();
  }
  // Last: leaving lazy mode writes, and what is reported of that to writeResult() must find no manager on which to
  // start timers for a connection that nobody handles.
  setStreamModes(newHandler != nullptr);
}

void FdIo::updateInterest(bool read, bool write) {
  if (read != readInterest_ || write != writeInterest_) {
    readInterest_ = read;
    writeInterest_ = write;
    if (fdMgr_ != nullptr) {
      fdMgr_->setInterest(*this, read, write);
    }
  }
}

/// Leaving lazy mode sends what is pending, and waits for it.
void FdIo::setStreamModes(bool lazy) {
  fdIn().setNonBlocking(lazy);
  try {
    fdOut().setLazy(lazy);
  } catch (const plat::Exception& e) {
    log.error("setHandler: %s", plat::ExceptionText(e).get());
  }
}

void FdIo::shutdown(bool flush, bool tellHandler) {
  log.debug("shutdown %p (fd=%d), flush %s (tellHandler %s)", static_cast<void*>(this), fd_, boolText(flush),
            boolText(tellHandler));
  if (fdMgr_ == nullptr) {
    PLAT_REQUIRE(!tellHandler);
    log.debug("immediate shutdown %p (fd=%d)", static_cast<void*>(this), fd_);
    delete this;
    return;
  }
  state_ = State::ShuttingDown;
  updateInterest(false, false);
  if (!tellHandler) {
    handler_ = nullptr;
  }
  // Never at once: the handler that calls may itself have been called out of this connection, whose streams are in use
  // by every frame in between.
  if (flush) {
    fdMgr_->setPendingWrite(*this);
  } else {
    shutdownTimer_.start(0);
  }
}

void FdIo::markReadable() {
  if (fdMgr_ != nullptr && state_ != State::ShuttingDown) {
    fdMgr_->setPendingRead(*this);
  }
}

const char* FdIo::displayName() {
  if (name_.isNull()) {
    name_ = plat::String::format("<fd%d>", fd_);
  }
  return name_.get();
}

plat::String FdIo::peerEndpoint() {
  return "";
}

plat::String FdIo::peerAddress() {
  return "";
}

plat::String FdIo::myEndpoint() {
  return "";
}

void FdIo::setTimeout(int ms) {
  PLAT_REQUIRE(in_ && out_);
  fdIn().setTimeout(ms);
  fdOut().setTimeout(ms);
}

int FdIo::socketError() {
  if (socketError_ == 0) {
    // The system forgets the error as it tells it, so the one found has to be kept.
    socklen_t length = sizeof socketError_;
    if (::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &socketError_, &length) != 0) {
      throw plat::SystemException("getsockopt", errno);
    }
  }
  return socketError_;
}

void FdIo::setSocketError(int error) {
  socketError_ = error;
}

/// The handler may have destroyed this object when it returns; it must not have when it throws.
void FdIo::readable() {
  try {
    PLAT_REQUIRE_AS(handler_, "handler", __FILE__, __LINE__);
    handler_->ioReadable(*this);
  } catch (const rdr::BlockException&) {
    // called again when more has come
  } catch (const plat::Exception& e) {
    log.info("Read error: %s", e.message);
    shutdown(false, true);
  }
}

void FdIo::writable() {
  try {
    connecting = false;
    // One-shot: taken up again only if a write blocks.
    if (writeInterest_) {
      updateInterest(readInterest_, false);
    }
    if (out_->nPending() != 0) {
      // Not flush(): that would begin the buffer anew, and a frame may be under construction behind what is pending.
      // That all is sent the handler hears in the next round, which each write asks for.
      fdOut().writeAll(fdOut().waitOnWrite());
    } else {
      drained();
    }
  } catch (const plat::Exception& e) {
    log.info("Write error: %s", e.message);
    shutdown(false, true);
  }
}

/// Everything has left the buffer.
void FdIo::drained() {
  switch (state_) {
    case State::ShuttingDown:
      shutdownTimer_.start(0);
      break;
    case State::Closing:
      out_->closeWrite();
      fdMgr_->clearPendingWrite(*this);
      break;
    case State::Normal:
      PLAT_REQUIRE_AS(handler_, "handler", __FILE__, __LINE__);
      handler_->ioWritable(*this);
      break;
  }
}

void FdIo::writeResult(rdr::FdOutStream*, bool blocked) {
  if (blocked) {
    updateInterest(readInterest_, true);
    if (fdMgr_ != nullptr) {
      flushTimer_.start(lazyFlushTimeoutMs());
    }
  } else if (fdMgr_ != nullptr) {
    flushTimer_.stop();
    fdMgr_->setPendingWrite(*this);
  }
}

void FdIo::writeClosed(rdr::FdOutStream*) {
  closeAfterDrain();
}

void FdIo::closeAfterDrain() {
  if (state_ == State::Normal) {
    state_ = State::Closing;
  }
}

bool FdIo::timerFired(plat::Timer& timer) {
  if (&timer == &flushTimer_) {
    flushTimedOut();
  } else {
    completeShutdown();
  }
  return false;
}

/// The peer has taken nothing for too long. It ends on the path of any other read error.
void FdIo::flushTimedOut() {
  log.debug("flush timer");
  // In a shutdown too: one that tells nobody, and whose flush stalls, ends in this failure.
  PLAT_REQUIRE_AS(handler_, "handler", __FILE__, __LINE__);
  if (state_ == State::ShuttingDown) {
    shutdownTimer_.start(0);
    return;
  }
  fdIn().setTimedOut();
  if (readInterest_) {
    fdMgr_->setPendingRead(*this);
  }
}

/// DESTROYS ITSELF.
void FdIo::completeShutdown() {
  log.debug("shutdown complete %p (fd=%d)", static_cast<void*>(this), fd_);
  tellClosed();
  if (fdMgr_ != nullptr) {
    fdMgr_->setRegistered(*this, false);
  }
  handler_ = nullptr;
  delete this;
}

/// What the handler makes of the news must not keep the connection from being deleted.
void FdIo::tellClosed() {
  if (handler_ == nullptr) {
    return;
  }
  try {
    handler_->ioClosed(*this);
  } catch (const plat::Exception& e) {
    log.info("Shutdown error: %s", e.message);
  }
}

/// DESTROYS ITSELF if it was shutting down.
void FdIo::managerGone() {
  if (state_ == State::ShuttingDown) {
    tellClosed();
    log.debug("shutdown completed by FdManager dtor %p (fd=%d)", static_cast<void*>(this), fd_);
    handler_ = nullptr;
    delete this;
    return;
  }
  fdMgr_ = nullptr;
  handler_ = nullptr;
  readInterest_ = writeInterest_ = false;  // the next manager has been told nothing
}

}  // namespace io
