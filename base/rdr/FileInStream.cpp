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
  file.open(path, plat::FilePtr::Read, flags);
  if (file.get() != nullptr && file.owned()) {
    // This class has a buffer; without a second one below it, a refill is one read(2) and no copy.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
  }
}

void FileInStream::attach(std::FILE* stream, bool own) {
  discard();
  file.attach(stream, own);
}

int FileInStream::readBlock(std::uint8_t* dest, int len) {
  PLAT_REQUIRE(file.get() != nullptr);
  return static_cast<int>(plat::fileReadBytes(file.get(), dest, static_cast<std::size_t>(len)));
}

}  // namespace rdr
