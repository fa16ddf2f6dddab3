#pragma once

#include <cstdint>

namespace fops {

/// The id of one file transfer, chosen by the peer and compared as a whole. One id may be in use by a download and by
/// an upload at once. On the wire it is two big-endian 32-bit words, low half first.
using TransferId = std::uint64_t;

/// The text of an id for one log line, "%u.%u" with the low half first. A temporary on the caller's stack; cheap enough
/// to be made for a line that is then suppressed.
class TransferIdText final {
public:
  explicit TransferIdText(TransferId id) noexcept;

  const char* get() const noexcept { return text_; }

private:
  char text_[24];  // two times ten digits, the point and the terminator
};

}  // namespace fops
