#include "base/rdr/NullOutStream.h"

namespace rdr {

NullOutStream::NullOutStream() : BufferedNBOutStream(1024) {}

void NullOutStream::writeBytes(const void*, int length) {
  if (length > 0) {
    countWritten(length);
  }
}

int NullOutStream::writeFromBuffer(const std::uint8_t*, int len, bool) {
  return len;
}

}  // namespace rdr
