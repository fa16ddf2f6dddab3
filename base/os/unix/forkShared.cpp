#include "base/os/unix/forkShared.h"

#include <cerrno>
#include <csignal>

#include <pthread.h>
#include <sched.h>

namespace os {

pid_t forkShared(ChildStack& stack, ChildBody body, void* context) noexcept {
  // A pending cancellation of this thread would unwind the child, at its first close(2) already.
  int cancelState = 0;
  ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelState);
  // Not CLONE_SIGHAND and not CLONE_FILES: signal actions and descriptors are copied, so that the child can change
  // them.
  const pid_t child = ::clone(body, stack.bytes + ChildStack::Size, CLONE_VM | CLONE_VFORK | SIGCHLD, context);
  const int error = errno;  // the child has the same errno and may have changed it
  ::pthread_setcancelstate(cancelState, nullptr);
  errno = error;
  return child;
}

}  // namespace os
