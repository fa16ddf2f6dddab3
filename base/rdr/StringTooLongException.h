#pragma once

#include "base/plat/Exception.h"

namespace rdr {

/// A counted text or a line is longer than its reader allows. Of a counted text the length has been read, its
/// bytes have not; of a line, what fitted.
class StringTooLongException : public plat::Exception {
public:
  StringTooLongException() noexcept : Exception("String exceeds maximum length", "StringTooLongException") {}
};

}  // namespace rdr
