#include "base/plat/time/TimerManager.h"

#include <algorithm>

#include "base/plat/assert.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/time/Timer.h"

// A running timer is in one of two places: in the list by expiry or, while processTimers() is at work, in `due_`.
// Either way its `manager_` is set; fire() clears that ahead of the callback, by which a timer that is started there is
// told from one that is not.

namespace plat {

namespace {

LogSrc log("TimerManager");

constinit thread_local TimerManager* thrInst = nullptr;

/// How far beyond the first expiry the clock may run before a hook should suspect a jump: 240 seconds.
constexpr FileTime JumpLimit = 2'400'000'000;

FileTime intervalTicks(int intervalMs) noexcept {
  return intervalMs * TicksPerMs;
}

}  // namespace

TimerManager::TimerManager(bool nested) : previous_(thrInst) {
  PLAT_REQUIRE_AS(nested || !thrInst, "nested || !thrInst", "base/plat/TimerManager", __LINE__);
  thrInst = this;
}

TimerManager::~TimerManager() {
  PLAT_ASSERT_AS(thrInst == this, "thrInst == this", "base/plat/TimerManager", __LINE__);
  while (!due_.empty()) {
    stop(*due_[due_.size() - 1]);
  }
  // From the back, so that only the last one changes the time to the first.
  while (last_ != nullptr) {
    stop(*last_);
  }
  thrInst = previous_;
}

TimerManager* TimerManager::current() noexcept {
  return thrInst;
}

int TimerManager::processTimers() {
  if (first_ == nullptr) {
    return -1;
  }
  const FileTime now = checkTime();
  const int ms = timeToNext(now);
  if (ms > 0) {
    return ms;
  }
  // All of them first: a timer that is started at 0 ms each time that it fires must not keep this call going for ever.
  takeDue(now);
  try {
    while (!due_.empty()) {
      fire(*due_.popFront());
    }
  } catch (...) {
    putBackDue();
    throw;
  }
  tellListener();
  return 0;
}

int TimerManager::timeToNext() {
  return first_ == nullptr ? -1 : timeToNext(checkTime());
}

int TimerManager::timeToNext(FileTime now) const noexcept {
  return first_ == nullptr ? -1 : msUntil(first_->expiry_, now);
}

void TimerManager::start(Timer& timer, int ms) {
  const FileTime now = checkTime();
  timer.intervalMs_ = ms;
  timer.expiry_ = now + intervalTicks(ms);
  insert(timer);
  if (first_ == &timer) {
    tellListener();
  }
}

void TimerManager::stop(Timer& timer) {
  const bool wasFirst = first_ == &timer;
  // Neither holds for a timer that is due in this turn: that one waits in `due_` alone.
  if (wasFirst || timer.prev_ != nullptr) {
    unlink(timer);
  } else {
    removeFromDue(timer);
  }
  timer.manager_ = nullptr;
  if (wasFirst) {
    tellListener();
  }
}

/// Reads the clock, as before any use of the list. `restarted` tells whether it had jumped.
FileTime TimerManager::checkTime(bool* restarted) {
  const FileTime limit = first_ != nullptr ? first_->expiry_ + JumpLimit : -1;
  bool jumped = false;
  const FileTime now = getMonoTime(limit, &jumped);
  if (jumped) {
    log.info("%s", limit > now ? "Time has jumped forwards - restarting timers"
                               : "Time has moved backwards - restarting timers");
    restartAll(now);
  }
  if (restarted != nullptr) {
    *restarted = jumped;
  }
  return now;
}

void TimerManager::restartAll(FileTime now) {
  // How much of each interval has passed is not known by the new clock; each timer begins with the whole of it.
  Timer* timer = first_;
  first_ = last_ = nullptr;
  while (timer != nullptr) {
    Timer* const following = timer->next_;
    timer->expiry_ = now + intervalTicks(timer->intervalMs_);
    insert(*timer);
    timer = following;
  }
  for (std::uint32_t i = 0; i < due_.size(); ++i) {
    due_[i]->expiry_ = now;
  }
  if (listener_ != nullptr && first_ != nullptr) {
    listener_->timeToFirstChanged(timeToNext(now));
  }
}

/// Searches from the back: a new timer mostly expires after those that run already.
void TimerManager::insert(Timer& timer) noexcept {
  Timer* before = last_;
  while (before != nullptr && before->expiry_ > timer.expiry_) {
    before = before->prev_;
  }
  timer.prev_ = before;
  timer.next_ = before != nullptr ? before->next_ : first_;
  (timer.prev_ != nullptr ? timer.prev_->next_ : first_) = &timer;
  (timer.next_ != nullptr ? timer.next_->prev_ : last_) = &timer;
  timer.manager_ = this;
}

void TimerManager::unlink(Timer& timer) noexcept {
  (timer.prev_ != nullptr ? timer.prev_->next_ : first_) = timer.next_;
  (timer.next_ != nullptr ? timer.next_->prev_ : last_) = timer.prev_;
  timer.next_ = timer.prev_ = nullptr;
}

void TimerManager::removeFromDue(const Timer& timer) noexcept {
  for (std::uint32_t i = 0; i < due_.size(); ++i) {
    if (due_[i] == &timer) {
      due_.erase(i);
      return;
    }
  }
}

void TimerManager::takeDue(FileTime now) {
  while (first_ != nullptr && first_->expiry_ <= now) {
    Timer& timer = *first_;
    due_.pushBack(&timer);
    unlink(timer);
  }
}

void TimerManager::fire(Timer& timer) {
  timer.manager_ = nullptr;
  // After the answer false the timer may be gone; do not look at it.
  if (!timer.callback_->timerFired(timer) || timer.manager_ != nullptr) {
    return;
  }
  bool jumped = false;
  const FileTime now = checkTime(&jumped);
  const FileTime inRhythm = timer.expiry_ + intervalTicks(timer.intervalMs_);
  timer.expiry_ = !jumped && inRhythm > now ? inRhythm : now + intervalTicks(timer.intervalMs_);
  insert(timer);
}

/// A callback has thrown: the timers that it kept from firing stay due.
void TimerManager::putBackDue() noexcept {
  while (!due_.empty()) {
    insert(*due_.popFront());
  }
}

void TimerManager::tellListener() {
  if (listener_ != nullptr) {
    listener_->timeToFirstChanged(timeToNext());
  }
}

}  // namespace plat
