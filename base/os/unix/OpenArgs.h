#pragma once

#include <sys/types.h>

namespace os {

/// How to open a file: the second and third argument of open(2).
struct OpenArgs {
  int flags = 0;
  mode_t permission = 0;  ///< of a file that is created, before the umask
};

}  // namespace os
