#include "libs/fops/SpecialFileException.h"

#include <cstdarg>

namespace fops {

SpecialFileException::SpecialFileException(const char* format, ...) {
  va_list args;
  va_start(args, format);
  appendFormatV(format, args);
  va_end(args);
}

}  // namespace fops
