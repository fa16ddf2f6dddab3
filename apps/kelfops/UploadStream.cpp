#include "apps/kelfops/UploadStream.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/rdr/exceptions.h"

namespace {
constexpr std::int64_t PieceSize = 65536;  // beyond this nothing was gained
}

UploadStream::UploadStream(const char* path, std::int64_t size)
    : BufferedInStream(static_cast<int>(std::clamp<std::int64_t>(size, 1, PieceSize))),
      fd_(plat::fileOpenFd(path, O_RDONLY)) {
  // The sender reads forward only; nothing behind it need be kept.
  rewindable_ = false;
}

int UploadStream::readBlock(std::uint8_t* dest, int len) {
  for (;;) {
    const ssize_t got = read(fd_.get(), dest, static_cast<std::size_t>(len));
    if (got > 0) {
      return static_cast<int>(got);
    }
    if (got == 0) {
      throw rdr::EndOfStream("End of file");
    }
    if (errno != EINTR) {
      throw plat::StdlibException("reading from file failed");
    }
  }
}
