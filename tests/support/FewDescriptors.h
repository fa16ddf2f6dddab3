#pragma once

#include <fcntl.h>
#include <sys/resource.h>

namespace test {

/// Lets the process open `spare` more descriptors and no further one, while it lives.
class FewDescriptors {
public:
  explicit FewDescriptors(int spare) {
    ::getrlimit(RLIMIT_NOFILE, &found_);
    int limit = 0;
    for (int unused = 0; unused <= spare; ++limit) {
      unused += ::fcntl(limit, F_GETFD) < 0 ? 1 : 0;
    }
    const rlimit few = {static_cast<rlim_t>(limit - 1), found_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &found_); }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

private:
  rlimit found_ = {};
};

}  // namespace test
