#pragma once

#include "base/rdr/FramedOutStream.h"

namespace rdr {

/// The frame format of every message: a header of two bytes, big-endian, with the payload's length in bits 0 to 14 and
/// bit 15 set on a message's last frame. Payloads have at most 32766 bytes.
/// Road: what io::MsgIpc::writeMsg() hands out to whoever writes a message; it writes into the link's FdOutStream.
class OutStreamV4 final : public FramedOutStream {
public:
  static constexpr int MaxFrameSize = 32766;
  static constexpr int HdrSize = 2;

  explicit OutStreamV4(OutStream* below = nullptr);

protected:
  void writeHeader(int frameLen, bool last, bool first) override;
};

}  // namespace rdr
