#pragma once

#include "base/rdr/BufferedNBOutStream.h"

namespace rdr {

/// Accepts everything, keeps nothing, and counts it in length(): the output of a channel that has no connection.
class NullOutStream final : public BufferedNBOutStream {
public:
  NullOutStream();

  void writeBytes(const void* data, int length) override;
  int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) override;
};

}  // namespace rdr
