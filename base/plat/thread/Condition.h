#pragma once

#include <pthread.h>

#include "base/plat/Mutex.h"

namespace plat {

/// Lets a thread wait until another one says that something under the mutex has changed.
/// The mutex must outlive the condition. wait() may return without a signal: test what was waited for in a loop.
class Condition : private NonCopyable {
public:
  explicit Condition(Mutex* mutex) noexcept;
  ~Condition();

  /// Gives the mutex, which the caller holds exactly once, up for the time of waiting.
  /// @param timeoutMs -1; there is no wait with an end, and any other value is a fatal assertion.
  void wait(int timeoutMs = -1);
  /// Wakes one of the waiting threads.
  void signal() noexcept { pthread_cond_signal(&native_); }
  /// Wakes all of them.
  void broadcast() noexcept { pthread_cond_broadcast(&native_); }

private:
  Mutex* mutex_;
  pthread_cond_t native_;
};

}  // namespace plat
