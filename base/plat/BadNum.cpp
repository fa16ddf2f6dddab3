#include "base/plat/BadNum.h"

namespace plat {

BadNum::BadNum(const char* text) noexcept : Exception(text) {}

}  // namespace plat
