#include "base/os/info/sysInfo.h"

#include <cerrno>
#include <cstring>

#include <sys/utsname.h>

#include "base/plat/exceptions.h"

namespace os {

plat::String kernelDescription() {
  utsname info = {};
  if (::uname(&info) != 0) {
    return plat::SystemException("uname", errno).message;
  }
  return plat::String::format("Linux %.*s", static_cast<int>(std::strcspn(info.release, "-")), info.release);
}

plat::String machineName() {
  utsname info = {};
  if (::uname(&info) != 0) {
    return plat::SystemException("uname", errno).message;
  }
  return plat::String(info.machine, ::strnlen(info.machine, 31));
}

}  // namespace os
