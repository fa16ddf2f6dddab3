#pragma once

#include <algorithm>
#include <set>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "base/plat/NonCopyable.h"

namespace test {

/// Closes its descriptor at the end.
class Fd : private plat::NonCopyable {
public:
  Fd(int fd) noexcept : fd_(fd) {}
  ~Fd() { ::close(fd_); }
  operator int() const noexcept { return fd_; }

private:
  int fd_;
};

/// Another limit of the descriptors' numbers, or the highest there may be, while it lives.
class FdLimit : private plat::NonCopyable {
public:
  explicit FdLimit(rlim_t limit) {
    ::getrlimit(RLIMIT_NOFILE, &found_);
    const rlimit changed = {std::min(limit, found_.rlim_max), found_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &changed);
  }
  ~FdLimit() { ::setrlimit(RLIMIT_NOFILE, &found_); }

private:
  rlimit found_ = {};
};

/// Lets the process open `spare` more descriptors and no further one.
inline FdLimit fewDescriptors(int spare) {
  int limit = 0;
  for (int unused = 0; unused <= spare; ++limit) {
    unused += ::fcntl(limit, F_GETFD) < 0 ? 1 : 0;
  }
  return FdLimit(static_cast<rlim_t>(limit - 1));
}

/// The process's open descriptors, for tests that nothing is leaked.
inline std::set<int> openFds() {
  std::set<int> fds;
  for (int fd = 0; fd < 2048; ++fd) {
    if (::fcntl(fd, F_GETFD) >= 0) {
      fds.insert(fd);
    }
  }
  return fds;
}

}  // namespace test
