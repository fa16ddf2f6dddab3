#include "libs/fops/exceptions.h"

#include <cstdarg>

namespace fops {

BadPath::BadPath(const char* reason) : plat::Exception(reason, "BadPath") {}

SpecialFileException::SpecialFileException(const char* format, ...) {
  va_list args;
  va_start(args, format);
  appendFormatV(format, args);
  va_end(args);
}

}  // namespace fops
