#include "libs/fops/SpecialFileException.h"

#include <cstdarg>

#include "base/plat/strings.h"

namespace fops {

SpecialFileException::SpecialFileException(const char* format, ...) {
  va_list args;
  va_start(args, format);
  plat::strFormatAppendV(message, sizeof message, format, args);
  va_end(args);
}

}  // namespace fops
