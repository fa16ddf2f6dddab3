#include "base/rdr/OutStreamV4.h"

namespace rdr {

OutStreamV4::OutStreamV4(OutStream* below) : FramedOutStream(below, MaxFrameSize, HdrSize) {}

void OutStreamV4::writeHeader(int frameLen, bool last, bool) {
  writeU16(static_cast<std::uint16_t>(frameLen | (last ? 0x8000 : 0)));
}

}  // namespace rdr
