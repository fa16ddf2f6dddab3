#pragma once

#include "base/plat/SystemException.h"

namespace plat {

/// A SystemException whose text is printf-formatted. It stands apart because the arguments follow `err`.
class SystemExceptionFmt : public SystemException {
public:
  SystemExceptionFmt(const char* fmt, int err, ...) noexcept __attribute__((format(printf, 2, 4)));
};

}  // namespace plat
