#include "base/plat/SystemException.h"

#include <cstring>

#include "base/plat/fixedText.h"

namespace plat {

SystemException::SystemException(int errValue) noexcept : err(errValue) {
  strFormatAppend(type, sizeof type, "System-%d", err);
}

SystemException::SystemException(const char* text, int errValue) noexcept : SystemException(errValue) {
  strAppend(message, sizeof message, text);
  describeError();
}

void SystemException::describeError() noexcept {
  if (message[0] != '\0') {
    strAppend(message, sizeof message, ": ");
  }
  if (err == 0) {
    strAppend(message, sizeof message, "Success");
  } else if (strerrordesc_np(err) == nullptr) {
    // Asked first because strerror_r words an unknown number itself, with the number once more inside.
    strAppend(message, sizeof message, "Unknown error");
  } else {
    char buffer[sizeof message];
    strAppend(message, sizeof message, strerror_r(err, buffer, sizeof buffer));
  }
  strFormatAppend(message, sizeof message, " (%d)", err);
}

}  // namespace plat
