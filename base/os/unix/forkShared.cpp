#include "base/os/unix/forkShared.h"

#include <cerrno>
#include <csignal>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace os {

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define OS_FORK_COPIES 1
#endif
#endif

pid_t forkShared([[maybe_unused]] ChildStack& stack, ChildBody body, void* context) noexcept {
  // A pending cancellation of this thread would unwind the child, at its first close(2) already.
  int cancelState = 0;
  ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
#ifdef OS_FORK_COPIES
  // The run-time of the thread sanitizer takes every clone for a fork and would tidy up in the parent's memory.
  const pid_t child = ::fork();
  if (child == 0) {
    ::_exit(body(context));
  }
#else
  // Not CLONE_SIGHAND and not CLONE_FILES: signal actions and descriptors are copied, so that the child can change
  // them.
  const pid_t child = ::clone(body, stack.bytes + ChildStack::Size, CLONE_VM | CLONE_VFORK | SIGCHLD, context);
#endif
  const int error = errno;  // the child has the same errno and may have changed it
  ::pthread_setcancelstate(cancelState, nullptr);
  errno = error;
  return child;
}

}  // namespace os
