#include "base/os/doubleFork.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/wait.h>
#include <unistd.h>

#include "base/os/startError.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace os {

namespace {

struct SharedJob {
  int errorFd;
  ChildBody body;
  void* context;
  ChildStack* stack;
};

void awaitChildBetween(pid_t child) {
  if (child < 0) {
    throw plat::SystemException("fork", errno);
  }
  pid_t rv = 0;
  do {
    rv = ::waitpid(child, nullptr, 0);
  } while (rv < 0 && errno == EINTR);
  PLAT_REQUIRE(rv > 0);
}

/// The end of the child in between, once it has forked or failed to.
[[noreturn, gnu::no_sanitize_address]] void endChildBetween(pid_t grandchild, int errorFd) noexcept {
  if (grandchild >= 0) {
    // Not exit(3): its handlers and the buffers of stdio are those of the process that this one is a copy of.
    ::_exit(0);
  }
  if (errorFd >= 0) {
    writeStartError(errorFd, errno, "fork");
  } else {
    std::fprintf(stderr, "fork error %s", std::strerror(errno));
    std::fflush(stderr);
  }
  ::_exit(1);
}

[[gnu::no_sanitize_address]] int runChildBetween(void* context) noexcept {
  const auto& job = *static_cast<const SharedJob*>(context);
  ::setsid();
  endChildBetween(forkShared(*job.stack, job.body, job.context), job.errorFd);
}

}  // namespace

bool doubleFork(int errorFd) {
  const pid_t child = ::fork();
  if (child != 0) {
    awaitChildBetween(child);
    return false;
  }
  ::setsid();
  const pid_t grandchild = ::fork();
  if (grandchild != 0) {
    endChildBetween(grandchild, errorFd);
  }
  return true;
}

void doubleFork(int errorFd, ChildBody body, void* context) {
  ChildStack stacks[2];
  SharedJob job = {errorFd, body, context, &stacks[1]};
  awaitChildBetween(forkShared(stacks[0], runChildBetween, &job));
}

}  // namespace os
