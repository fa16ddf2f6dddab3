#include "base/rdr/BufferedNBOutStream.h"

#include <climits>

namespace rdr {

/// A ceiling of 0 leaves that of the buffer's own size, whichever that is.
BufferedNBOutStream::BufferedNBOutStream(int size) : BufferedOutStream(size, 0) {}

int BufferedNBOutStream::spaceLeft() {
  return INT_MAX;
}

}  // namespace rdr
