#pragma once

#include "base/rdr/BufferedOutStream.h"

namespace rdr {

/// A buffered output stream over a transport that takes everything: a file, or nothing at all. Its buffer never grows,
/// and it can always accept more, since it writes through.
class BufferedNBOutStream : public BufferedOutStream {
public:
  /// @param size bytes of the buffer; negative for 16384.
  explicit BufferedNBOutStream(int size = -1);

  [[nodiscard]] int spaceLeft() override;
};

}  // namespace rdr
