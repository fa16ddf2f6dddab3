#include "base/rdr/FdOutStream.h"

#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

#include "base/plat/assert.h"
#include "base/plat/exceptions.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/fdWait.h"

namespace rdr {

namespace {
plat::LogSrc log("FdOutStream");
}  // namespace

FdOutStream::Callback::~Callback() = default;

FdOutStream::FdOutStream(int descriptor, int ceiling) : BufferedLazyOutStream(-1, ceiling), fd_(descriptor) {}

FdOutStream::~FdOutStream() {
  // The connection that listens destroys this stream at its own end, and must not be called any more.
  callback_ = nullptr;
  try {
    tryFlush(false);
  } catch (const plat::Exception&) {
    // The peer has gone; there is nobody left to tell.
  }
  if (ownFd_ && fd_ >= 0) {
    close(fd_);
  }
}

bool FdOutStream::closeWrite() {
  if (nPending() == 0 && shutdown(fd_, SHUT_WR) != 0) {
    throw plat::SystemException("shutdown(SHUT_WR)", errno);
  }
  if (callback_ != nullptr) {
    callback_->writeClosed(this);
  }
  return true;
}

int FdOutStream::writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) {
  while (true) {
    const ssize_t written = write(fd_, data, static_cast<std::size_t>(len));
    const int error = errno;
    if (written >= 0) {
      if (callback_ != nullptr) {
        callback_->writeResult(this, written == 0);
      }
      return static_cast<int>(written);
    }
    if (error == EINTR) {
      continue;
    }
    if (error != EAGAIN) {
      return writeFailed(error, needWrite);
    }
    if (!needWrite) {
      if (callback_ != nullptr) {
        callback_->writeResult(this, true);
      }
      return 0;
    }
    waitUntilWritable();
  }
}

void FdOutStream::waitUntilWritable() {
  if (!waitForFd(fd_, timeout(), false, true)) {
    // A write that waits takes a byte or raises; nobody may ask for one with failures switched off.
    PLAT_REQUIRE(doesThrowErrors());
    throw plat::TimedOut();
  }
}

/// Raises, or mentions the failure and makes it look like a full descriptor.
int FdOutStream::writeFailed(int error, bool needWrite) {
  const plat::SystemException failure("write", error);
  if (doesThrowErrors()) {
    throw failure;
  }
  log.debug("%s", plat::ExceptionText(failure).get());
  PLAT_REQUIRE(!needWrite);
  return 0;
}

}  // namespace rdr
