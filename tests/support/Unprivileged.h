#pragma once

#include <stdexcept>
#include <string>

#include <unistd.h>

#include "base/plat/NonCopyable.h"

namespace test {

/// Takes root's rights over files away from the process for as long as it lives, so that tests of refused access also
/// mean something when root runs them. Without effect for any other user. Folders that the test goes on working in are
/// handed over with give().
class Unprivileged : private plat::NonCopyable {
public:
  Unprivileged() {
    if (wasRoot_ && ::seteuid(Nobody) != 0) {
      throw std::runtime_error("seteuid");
    }
  }
  ~Unprivileged() {
    if (wasRoot_ && ::seteuid(0) != 0) {
      ::_exit(99);  // no later test may run with the wrong rights
    }
  }

  /// To be called before construction: makes the unprivileged user the owner of `path`.
  static void give(const std::string& path) {
    if (::geteuid() == 0 && ::lchown(path.c_str(), Nobody, static_cast<gid_t>(-1)) != 0) {
      throw std::runtime_error("lchown " + path);
    }
  }

private:
  static constexpr uid_t Nobody = 65534;
  const bool wasRoot_ = ::geteuid() == 0;
};

}  // namespace test
