#include "base/rdr/FileInStream.h"

#include "base/plat/assert.h"
#include "base/rdr/fileReadBytes.h"

namespace rdr {

FileInStream::FileInStream(const char* path, int flags) {
  rewindable_ = false;
  if (path != nullptr) {
    open(path, flags);
  }
}

FileInStream::FileInStream(std::FILE* stream, bool own) {
  rewindable_ = false;
  attach(stream, own);
}

void FileInStream::open(const char* path, int flags) {
  discard();
  file_.open(path, plat::FilePtr::Read, flags);
  if (file_.get() != nullptr && file_.owned()) {
    // This class has a buffer; without a second one below it, a refill is one read(2) and no copy.
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
  }
}

void FileInStream::attach(std::FILE* stream, bool own) {
  discard();
  file_.attach(stream, own);
}

int FileInStream::readBlock(std::uint8_t* dest, int len) {
  PLAT_REQUIRE_AS(file_.get() != nullptr, "file.get() != nullptr", __FILE__, __LINE__);
  return static_cast<int>(plat::fileReadBytes(file_.get(), dest, static_cast<std::size_t>(len)));
}

}  // namespace rdr
