#include "base/plat/TimedOut.h"

namespace plat {

TimedOut::TimedOut(const char* text) noexcept : Exception(text, "TimedOut") {}

}  // namespace plat
