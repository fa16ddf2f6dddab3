#pragma once

#include "base/plat/Exception.h"

namespace plat {

/// Something did not happen within its time. Type "TimedOut".
class TimedOut : public Exception {
public:
  explicit TimedOut(const char* text = "Timed out") noexcept;
};

}  // namespace plat
