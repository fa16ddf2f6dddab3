#include "base/os/unix/hostName.h"

#include <cstring>

#include <unistd.h>

namespace os {

plat::String hostNameShort() {
  // The last byte is never given away: a name that is too long comes without a terminator.
  char name[257] = {};
  if (::gethostname(name, sizeof name - 1) != 0) {
    return "";
  }
  return plat::String(name, std::strcspn(name, "."));
}

}  // namespace os
