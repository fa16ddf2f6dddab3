#pragma once

#include "base/plat/SystemException.h"

namespace plat {

/// A SystemException for the call that has just failed: `err` is errno as it stands when the constructor starts.
/// Whatever computes the arguments must leave errno alone.
class StdlibException : public SystemException {
public:
  explicit StdlibException(const char* fmt, ...) noexcept __attribute__((format(printf, 2, 3)));
};

}  // namespace plat
