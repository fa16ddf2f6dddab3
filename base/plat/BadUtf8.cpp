#include "base/plat/BadUtf8.h"

#include "base/plat/assert.h"

namespace plat {

namespace {

bool (*asserts)() = nullptr;

}  // namespace

BadUtf8::BadUtf8(FormattedTag, const char* fmt, ...) noexcept {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
  if (asserts != nullptr && asserts()) {
    assertFailed(AssertionFail("!badUtf8Assert", __FILE__, __LINE__, Formatted, "%s", message));
  }
}

void BadUtf8::setAsserts(bool (*newAsserts)()) noexcept {
  asserts = newAsserts;
}

}  // namespace plat
