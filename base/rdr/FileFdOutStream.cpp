#include "base/rdr/FileFdOutStream.h"

#include <cerrno>
#include <cstddef>
#include <utility>

#include <sys/uio.h>
#include <unistd.h>

#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"

namespace os {

namespace {

constexpr int PageSize = 4096;  // any page of the system's is a multiple; a file's pages are then touched once each

int checkedCount(ssize_t written) {
  if (written <= 0) {
    throw plat::SystemException("write", written < 0 ? errno : EIO);
  }
  return static_cast<int>(written);
}

}  // namespace

FileFdOutStream::FileFdOutStream(int descriptor, bool own) : fd_(descriptor), ownFd_(own) {}

FileFdOutStream::FileFdOutStream(const char* path, OpenArgs openArgs)
    : fd_(plat::fileOpenFd(path, openArgs.flags, openArgs.permission)), ownFd_(true) {}

FileFdOutStream::~FileFdOutStream() {
  try {
    tryFlush(waitOnWrite());
  } catch (const plat::Exception&) {
    // Who needs to know has called flush().
  }
  if (ownFd_ && fd_ >= 0) {
    close(fd_);
  }
}

/// What receiving a large file costs is decided here: by copies, by pages touched twice, and by the number of calls.
void FileFdOutStream::writeBytes(const void* data, int length) {
  const auto* from = static_cast<const std::uint8_t*>(data);
  if (length >= bufferSize() && !traced()) {
    // What would leave a page of the file half written stays behind in the buffer, for the next block to complete.
    const int direct = length - (nPending() + length) % PageSize;
    writePendingAnd(from, direct);
    from += direct;
    length -= direct;
  }
  copyThroughBuffer(from, length);
}

void FileFdOutStream::flushAndClose() {
  flush();
  const int closing = std::exchange(fd_, -1);
  // After EINTR the descriptor is gone all the same.
  if (ownFd_ && closing >= 0 && ::close(closing) != 0 && errno != EINTR) {
    throw plat::SystemException("close", errno);
  }
}

int FileFdOutStream::writeWithBlock(const std::uint8_t* pending, int pendingLength, const std::uint8_t* block,
                                    int length) {
  const iovec parts[] = {{const_cast<std::uint8_t*>(pending), static_cast<std::size_t>(pendingLength)},
                         {const_cast<std::uint8_t*>(block), static_cast<std::size_t>(length)}};
  return checkedCount(writev(fd_, parts, 2));
}

int FileFdOutStream::writeFromBuffer(const std::uint8_t* data, int len, bool) {
  return checkedCount(write(fd_, data, static_cast<std::size_t>(len)));
}

}  // namespace os
