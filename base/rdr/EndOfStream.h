#pragma once

#include "base/plat/Exception.h"

namespace rdr {

/// The source has no further byte and never will: end of memory, end of a file, or the peer has closed its side.
class EndOfStream : public plat::Exception {
public:
  explicit EndOfStream(const char* text) noexcept : Exception(text, "EndOfStream") {}
};

}  // namespace rdr
