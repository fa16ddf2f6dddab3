// The parameter `_BadUtf8Assert`: turns each BadUtf8 into a failed assertion.
#include "base/plat/NeverDestroyed.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/exceptions.h"

namespace plat {

namespace {

/// Never destroyed: static objects may meet bad text in their destructors. Text that is bad before this source has been
/// initialised finds the default, as it would find it in the parameter.
[[maybe_unused]] const BoolParameter& registered = []() -> BoolParameter& {
  static NeverDestroyed<BoolParameter> parameter(
      "_BadUtf8Assert", "Make bad UTF-8 cause an assertion failure for debugging", false, true);
  BadUtf8::setAsserts([] { return parameter->getValue(); });
  return *parameter;
}();

}  // namespace

}  // namespace plat
