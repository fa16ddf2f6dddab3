#include "base/rdr/InStreamV4.h"

namespace rdr {

InStreamV4::InStreamV4(InStream* below) noexcept : FramedInStream(below) {}

void InStreamV4::readHeader(int& payloadSize, bool& last, bool) {
  const std::uint16_t header = underlying()->readU16();
  payloadSize = header & 0x7FFF;
  last = (header & 0x8000) != 0;
}

}  // namespace rdr
