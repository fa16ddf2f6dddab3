#pragma once

#include "base/rdr/InStream.h"

namespace rdr {

/// Reads memory that somebody else owns and leaves alone for the stream's lifetime.
///
/// A read past its end raises EndOfStream "End of in-memory input stream" and rewinds nothing. The stream is
/// rewindable throughout: every byte is at hand for as long as it lives.
class MemInStream final : public InStream {
public:
  MemInStream(const void* data, int length) noexcept;

  [[nodiscard]] std::uint32_t offset() override;
  [[nodiscard]] bool atEnd() override;

protected:
  [[noreturn]] bool overrun(int itemSize) override;

private:
  const std::uint8_t* start_;
};

}  // namespace rdr
