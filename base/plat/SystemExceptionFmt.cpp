#include "base/plat/SystemExceptionFmt.h"

namespace plat {

SystemExceptionFmt::SystemExceptionFmt(const char* fmt, int errValue, ...) noexcept : SystemException(errValue) {
  std::va_list args;
  va_start(args, errValue);
  appendFormatV(fmt, args);
  va_end(args);
  describeError();
}

}  // namespace plat
