#pragma once

#include "base/plat/Exception.h"

namespace plat {

/// A text that has to be UTF-8 is not. Has no type word.
/// With the parameter `_BadUtf8Assert` set, constructing one ends the process as a failed assertion does, with a
/// stack trace: for finding where such a text comes from.
class BadUtf8 : public Exception {
public:
  BadUtf8(FormattedTag, const char* fmt, ...) noexcept __attribute__((format(printf, 3, 4)));

  /// Sets what tells, at each construction, whether that ends the process; null for never. The parameter installs
  /// itself here before main.
  static void setAsserts(bool (*newAsserts)()) noexcept;
};

}  // namespace plat
