#include "base/plat/time/TimerManager.h"

#include <algorithm>

#include "base/plat/assert.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/time/Timer.h"

// A running timer is in one of two places: in the list by expiry or, while processTimers() is at work, in `due`. Either
// way its `manager` is set; fire() clears that ahead of the callback, by which a timer that is started there is told
// from one that is not.

namespace plat {

namespace {

LogSrc log("TimerManager");

constinit thread_local TimerManager* thrInst = nullptr;

// How far beyond the first expiry the clock may run before a hook should suspect a jump: 240 seconds.
constexpr FileTime JumpLimit = 2'400'000'000;

FileTime intervalTicks(int intervalMs) noexcept {
  return intervalMs * TicksPerMs;
}

}  // namespace

TimerManager::TimerManager(bool nested) : previous(thrInst) {
  PLAT_REQUIRE_AS(nested || !thrInst, "nested || !thrInst", "base/plat/TimerManager", __LINE__);
  thrInst = this;
}

TimerManager::~TimerManager() {
  PLAT_ASSERT_AS(thrInst == this, "thrInst == this", "base/plat/TimerManager", __LINE__);
  while (!due.empty()) {
    stop(*due[due.size() - 1]);
  }
  // From the back, so that only the last one changes the time to the first.
  while (last != nullptr) {
    stop(*last);
  }
  thrInst = previous;
}

TimerManager* TimerManager::current() noexcept {
  return thrInst;
}

int TimerManager::processTimers() {
  if (first == nullptr) {
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
    while (!due.empty()) {
      fire(*due.popFront());
    }
  } catch (...) {
    putBackDue();
    throw;
  }
  tellListener();
  return 0;
}

int TimerManager::timeToNext() {
  return first == nullptr ? -1 : timeToNext(checkTime());
}

int TimerManager::timeToNext(FileTime now) const noexcept {
  return first == nullptr ? -1 : msUntil(first->expiry, now);
}

void TimerManager::start(Timer& timer, int ms) {
  const FileTime now = checkTime();
  timer.intervalMs = ms;
  timer.expiry = now + intervalTicks(ms);
  insert(timer);
  if (first == &timer) {
    tellListener();
  }
}

void TimerManager::stop(Timer& timer) {
  const bool wasFirst = first == &timer;
  // Neither holds for a timer that is being fired: that one is in `due` alone.
  if (wasFirst || timer.prev != nullptr) {
    unlink(timer);
  } else {
    removeFromDue(timer);
  }
  timer.manager = nullptr;
  if (wasFirst) {
    tellListener();
  }
}

// Reads the clock, as before any use of the list. `restarted` tells whether it had jumped.
FileTime TimerManager::checkTime(bool* restarted) {
  const FileTime limit = first != nullptr ? first->expiry + JumpLimit : -1;
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
  Timer* timer = first;
  first = last = nullptr;
  while (timer != nullptr) {
    Timer* const following = timer->next;
    timer->expiry = now + intervalTicks(timer->intervalMs);
    insert(*timer);
    timer = following;
  }
  for (std::uint32_t i = 0; i < due.size(); ++i) {
    due[i]->expiry = now;
  }
  if (listener != nullptr && first != nullptr) {
    listener->timeToFirstChanged(timeToNext(now));
  }
}

// Searches from the back: a new timer mostly expires after those that run already.
void TimerManager::insert(Timer& timer) noexcept {
  Timer* before = last;
  while (before != nullptr && before->expiry > timer.expiry) {
    before = before->prev;
  }
  timer.prev = before;
  timer.next = before != nullptr ? before->next : first;
  (timer.prev != nullptr ? timer.prev->next : first) = &timer;
  (timer.next != nullptr ? timer.next->prev : last) = &timer;
  timer.manager = this;
}

void TimerManager::unlink(Timer& timer) noexcept {
  (timer.prev != nullptr ? timer.prev->next : first) = timer.next;
  (timer.next != nullptr ? timer.next->prev : last) = timer.prev;
  timer.next = timer.prev = nullptr;
}

void TimerManager::removeFromDue(const Timer& timer) noexcept {
  for (std::uint32_t i = 0; i < due.size(); ++i) {
    if (due[i] == &timer) {
      due.erase(i);
      return;
    }
  }
}

void TimerManager::takeDue(FileTime now) {
  while (first != nullptr && first->expiry <= now) {
    Timer& timer = *first;
    due.pushBack(&timer);
    unlink(timer);
  }
}

void TimerManager::fire(Timer& timer) {
  timer.manager = nullptr;
  // After the answer false the timer may be gone; do not look at it.
  if (!timer.callback->timerFired(timer) || timer.manager != nullptr) {
    return;
  }
  bool jumped = false;
  const FileTime now = checkTime(&jumped);
  const FileTime inRhythm = timer.expiry + intervalTicks(timer.intervalMs);
  timer.expiry = !jumped && inRhythm > now ? inRhythm : now + intervalTicks(timer.intervalMs);
  insert(timer);
}

// A callback has thrown: the timers that it kept from firing stay due.
void TimerManager::putBackDue() noexcept {
  while (!due.empty()) {
    insert(*due.popFront());
  }
}

void TimerManager::tellListener() {
  if (listener != nullptr) {
    listener->timeToFirstChanged(timeToNext());
  }
}

}  // namespace plat
