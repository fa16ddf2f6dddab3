#include "base/plat/thread/Condition.h"

#include "base/plat/assert.h"

namespace plat {

Condition::Condition(Mutex* mutex) noexcept : mutex_(mutex) {
  pthread_cond_init(&native_, nullptr);
}

Condition::~Condition() {
  pthread_cond_destroy(&native_);
}

void Condition::wait(int timeoutMs) {
  if (timeoutMs != -1) {
    assertFailed(AssertionFail("timeoutMs == -1", "base/plat/Threading", __LINE__, Formatted,
                               "Condition timed wait not implemented yet"));
  }
  pthread_cond_wait(&native_, &mutex_->native_);
}

}  // namespace plat
