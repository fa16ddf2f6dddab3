#include "base/os/FileFdOutStream.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <sys/uio.h>
#include <unistd.h>

#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"

namespace os {

namespace {
constexpr int PageSize = 4096;  // any page of the system's is a multiple; a file's pages are then touched once each
}

FileFdOutStream::FileFdOutStream(int descriptor, bool own) : fd_(descriptor), ownFd(own) {}

FileFdOutStream::FileFdOutStream(const char* path, OpenArgs openArgs)
    : fd_(plat::fileOpenFd(path, openArgs.flags, openArgs.permission)), ownFd(true) {}

FileFdOutStream::~FileFdOutStream() {
  try {
    tryFlush(waitOnWrite());
  } catch (const plat::Exception&) {
    // Who needs to know has called flush().
  }
  if (ownFd && fd_ >= 0) {
    close(fd_);
  }
}

// What receiving a large file costs is decided here: by copies, by pages touched twice, and by the number of calls.
void FileFdOutStream::writeBytes(const void* data, int length) {
  const auto* from = static_cast<const std::uint8_t*>(data);
  if (length >= bufSize && !trace) {
    const int pending = nPending();
    const int direct = length - (pending + length) % PageSize;
    writeThrough(from, direct);
    from += direct;
    length -= direct;
  }
  while (length > 0) {
    // To the end of the buffer, of which the window is only the part for single values.
    const auto piece = static_cast<int>(std::min<std::ptrdiff_t>(start.get() + bufSize - ptr, length));
    std::memcpy(ptr, from, static_cast<std::size_t>(piece));
    ptr += piece;
    end = std::max(end, ptr);
    from += piece;
    length -= piece;
    if (ptr == start.get() + bufSize) {
      tryFlush(true);
    }
  }
}

/// Writes what is buffered and then `length` bytes, at least one.
void FileFdOutStream::writeThrough(const std::uint8_t* data, int length) {
  for (int left = length; left > 0;) {
    const auto pending = static_cast<std::size_t>(nPending());
    const iovec parts[] = {{sentUpTo, pending},
                           {const_cast<std::uint8_t*>(data + length - left), static_cast<std::size_t>(left)}};
    const ssize_t written = writev(fd_, parts, 2);
    if (written < 0) {
      throw plat::SystemException("write", errno);
    }
    const auto fromBuffer = std::min(static_cast<std::size_t>(written), pending);
    sentUpTo += fromBuffer;
    offsetBase += static_cast<std::uint32_t>(static_cast<std::size_t>(written) - fromBuffer);
    left -= static_cast<int>(static_cast<std::size_t>(written) - fromBuffer);
  }
  tryFlush(true);  // nothing is pending: the buffer is used from its front again
}

int FileFdOutStream::writeFromBuffer(const std::uint8_t* data, int len, bool) {
  const ssize_t written = write(fd_, data, static_cast<std::size_t>(len));
  if (written < 0) {
    throw plat::SystemException("write", errno);
  }
  return static_cast<int>(written);
}

}  // namespace os
