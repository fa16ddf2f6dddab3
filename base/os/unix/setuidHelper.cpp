#include "base/os/unix/setuidHelper.h"

#include <cstring>

#include "base/plat/Exception.h"

namespace os {

void setuidHelperCheck(char** argv) {
  if (!argv[0] || !argv[1] || std::strcmp(argv[1], "-setuidhelper") != 0) {
    return;
  }
  if (!argv[2] || !argv[3]) {
    throw plat::Exception("setuidhelper: missing argument");
  }
  throw plat::Exception("setuidhelper: not supported");
}

}  // namespace os
