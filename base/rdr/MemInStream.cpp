#include "base/rdr/MemInStream.h"

#include "base/rdr/exceptions.h"

namespace rdr {

MemInStream::MemInStream(const void* data, int length) noexcept : start(static_cast<const std::uint8_t*>(data)) {
  ptr = start;
  checkpointPtr = start;
  end = start + length;
}

std::uint32_t MemInStream::offset() {
  return static_cast<std::uint32_t>(ptr - start);
}

bool MemInStream::atEnd() {
  return ptr == end;
}

bool MemInStream::overrun(int) {
  throw EndOfStream("End of in-memory input stream");
}

}  // namespace rdr
