#pragma once

#include "base/plat/Exception.h"

namespace plat {

/// A text is not the number that it should be. Thrown by the parsers in numbers.h; has no type word.
class BadNum : public Exception {
public:
  explicit BadNum(const char* text) noexcept;
};

}  // namespace plat
