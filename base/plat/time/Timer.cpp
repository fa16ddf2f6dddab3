#include "base/plat/time/Timer.h"

#include "base/plat/assert.h"
#include "base/plat/time/TimerManager.h"

namespace plat {

Timer::Timer(Callback* owner) noexcept : callback_(owner) {}

Timer::~Timer() {
  stop();
}

void Timer::start(int ms) {
  stop();
  TimerManager* const thrInst = TimerManager::current();
  PLAT_REQUIRE_AS(thrInst, "thrInst", "base/plat/TimerManager", __LINE__);
  thrInst->start(*this, ms);
}

void Timer::stop() {
  if (manager_ != nullptr) {
    manager_->stop(*this);
  }
}

FileTime Timer::remaining() const {
  return expiry_ - getMonoTime();
}

}  // namespace plat
