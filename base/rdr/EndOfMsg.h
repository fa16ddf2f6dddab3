#pragma once

#include "base/plat/Exception.h"

namespace rdr {

/// A read went past the end of the current message of a framed stream. The stream itself is sound.
class EndOfMsg : public plat::Exception {
public:
  EndOfMsg() noexcept : Exception("End of message", "EndOfMsg") {}
};

}  // namespace rdr
