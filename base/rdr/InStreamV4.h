#pragma once

#include "base/rdr/FramedInStream.h"

namespace rdr {

/// Reads the frames that OutStreamV4 writes, and all that its header can express: payloads of up to 32767 bytes, and
/// empty frames anywhere, which are passed over.
/// Road: the form in which io::MsgIpc, and behind it every reader of a message, sees the link's FdInStream.
class InStreamV4 final : public FramedInStream {
public:
  explicit InStreamV4(InStream* below = nullptr) noexcept;

protected:
  void readHeader(int& payloadSize, bool& last, bool first) override;
};

}  // namespace rdr
