#include "base/rdr/MemInStream.h"

#include "base/rdr/exceptions.h"

namespace rdr {

MemInStream::MemInStream(const void* data, int length) noexcept : start_(static_cast<const std::uint8_t*>(data)) {
  ptr = start_;
  checkpointPtr = start_;
  end = start_ + length;
}

std::uint32_t MemInStream::offset() {
  return static_cast<std::uint32_t>(ptr - start_);
}

bool MemInStream::atEnd() {
  return ptr == end;
}

bool MemInStream::overrun(int) {
  throw EndOfStream("End of in-memory input stream");
}

}  // namespace rdr
