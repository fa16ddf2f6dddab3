#pragma once

#include "base/plat/String.h"

namespace plat {

/// A log line that is kept to be delivered later.
struct StoredMessage {
  int level;
  String source;
  String text;
};

}  // namespace plat
