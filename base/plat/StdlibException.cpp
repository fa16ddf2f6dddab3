#include "base/plat/StdlibException.h"

#include <cerrno>

namespace plat {

StdlibException::StdlibException(const char* fmt, ...) noexcept : SystemException(errno) {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
  describeError();
}

}  // namespace plat
