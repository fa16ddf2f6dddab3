#include "base/rdr/FileOutStream.h"

#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace rdr {

FileOutStream::FileOutStream(const char* path, int flags) {
  if (path != nullptr) {
    open(path, flags);
  }
}

FileOutStream::FileOutStream(std::FILE* stream, bool own) {
  attach(stream, own);
}

FileOutStream::~FileOutStream() {
  if (file_.get() == nullptr) {
    return;
  }
  try {
    tryFlush(waitOnWrite());
  } catch (const plat::Exception&) {
    // Who needs to know has called flush().
  }
}

void FileOutStream::open(const char* path, int flags) {
  if (file_.get() != nullptr) {
    // What is pending belongs to the file before.
    flush();
  }
  file_.open(path, plat::FilePtr::Write, flags);
  if (file_.get() != nullptr && file_.owned()) {
    // This class has a buffer; without a second one below it, what flush() has written is in the file.
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
  }
}

void FileOutStream::attach(std::FILE* stream, bool own) {
  if (file_.get() != nullptr) {
    flush();
  }
  file_.attach(stream, own);
}

void FileOutStream::detach() {
  discardPending();
  file_.attach(nullptr, false);
}

int FileOutStream::writeFromBuffer(const std::uint8_t* data, int len, bool) {
  PLAT_REQUIRE_AS(file_.get() != nullptr, "file.get() != nullptr", __FILE__, __LINE__);
  if (std::fwrite(data, static_cast<std::size_t>(len), 1, file_.get()) != 1) {
    throw plat::StdlibException("writing to file failed");
  }
  return len;
}

}  // namespace rdr
