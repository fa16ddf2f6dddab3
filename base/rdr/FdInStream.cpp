#include "base/rdr/FdInStream.h"

#include <cerrno>
#include <utility>

#include <unistd.h>

#include "base/plat/exceptions.h"
#include "base/rdr/exceptions.h"
#include "base/rdr/fdWait.h"

namespace rdr {

FdInStream::FdInStream(int descriptor, int size) : BufferedNonBlockableInStream(size), fd_(descriptor) {}

FdInStream::FdInStream(FdInStream&& other) noexcept
    : BufferedNonBlockableInStream(std::move(other)),
      timeoutMs_(other.timeoutMs_),
      fd_(std::exchange(other.fd_, -1)),
      ownFd_(other.ownFd_),
      timedOut_(other.timedOut_) {}

FdInStream::~FdInStream() {
  if (ownFd_ && fd_ >= 0) {
    close(fd_);
  }
}

int FdInStream::readBlock(std::uint8_t* dest, int len) {
  if (timedOut_) {
    throw plat::TimedOut();
  }
  // Reads first and waits afterwards: mostly the bytes are there, and this is the only call.
  while (true) {
    const ssize_t got = read(fd_, dest, static_cast<std::size_t>(len));
    if (got > 0) {
      return static_cast<int>(got);
    }
    if (got == 0) {
      throw EndOfStream("End of IO stream");
    }
    const int error = errno;
    if (error == EINTR) {
      continue;
    }
    if (error != EAGAIN) {
      throw plat::SystemException("read", error);
    }
    if (nonBlocking) {
      return 0;
    }
    if (!waitForFd(fd_, timeoutMs_, true, false)) {
      throw plat::TimedOut();
    }
  }
}

}  // namespace rdr
