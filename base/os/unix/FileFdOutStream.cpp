#include "base/os/unix/FileFdOutStream.h"

#include <cerrno>

#include <unistd.h>

#include "base/plat/SystemException.h"
#include "base/plat/file.h"

namespace os {

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

int FileFdOutStream::writeFromBuffer(const std::uint8_t* data, int len, bool) {
  const ssize_t written = write(fd_, data, static_cast<std::size_t>(len));
  if (written < 0) {
    throw plat::SystemException("write", errno);
  }
  return static_cast<int>(written);
}

}  // namespace os
