#pragma once

#include "base/plat/Exception.h"

namespace rdr {

/// The user of a framed stream broke the order of its calls: a message begun twice, ended unread, and the like.
class FrameException : public plat::Exception {
public:
  explicit FrameException(const char* text) noexcept : Exception(text, "FrameException") {}
};

}  // namespace rdr
