#include "base/plat/BadUtf8.h"

#include "base/plat/BoolParameter.h"
#include "base/plat/assert.h"

namespace plat {

namespace {

/// Made at the first use, since a string parameter in another source may meet bad text before this source has been
/// initialised; and by the reference below in any case, so that it is registered before main. Never destroyed: static
/// objects may meet bad text in their destructors.
BoolParameter& badUtf8Assert() {
  static BoolParameter& parameter =
      *new BoolParameter("_BadUtf8Assert", "Make bad UTF-8 cause an assertion failure for debugging", false, true);
  return parameter;
}

[[maybe_unused]] const BoolParameter& registered = badUtf8Assert();

}  // namespace

BadUtf8::BadUtf8(FormattedTag, const char* fmt, ...) noexcept {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
  if (badUtf8Assert().getValue()) {
    assertFailed(AssertionFail("!badUtf8Assert", __FILE__, __LINE__, Formatted, "%s", message));
  }
}

}  // namespace plat
