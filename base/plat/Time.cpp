#include "base/plat/Time.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>
#include <limits>

#include <sys/select.h>

#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace plat {

namespace {

/// 1601-01-01 to 1970-01-01.
constexpr std::int64_t UnixEpochSeconds = UnixEpochTicks / TicksPerSecond;

/// Wide enough for any sum of seconds and microseconds before it is clamped.
__extension__ using Wide = __int128;

FileTime clampToTicks(Wide ticks) noexcept {
  return static_cast<FileTime>(
      std::clamp<Wide>(ticks, std::numeric_limits<FileTime>::min(), std::numeric_limits<FileTime>::max()));
}

FileTime toTicks(const timespec& time) noexcept {
  return static_cast<FileTime>(time.tv_sec) * TicksPerSecond + time.tv_nsec / 100;
}

/// The coarse clock costs a fraction of the fine one, but on many kernels it ticks every 4 ms: too seldom for timers.
bool coarseClockWillDo() noexcept {
  timespec resolution{};
  timespec now{};
  return ::clock_getres(CLOCK_MONOTONIC_COARSE, &resolution) == 0 && toTicks(resolution) <= TicksPerMs &&
         ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now) == 0;
}

class MonoClock {
public:
  MonoClock() : id_(coarseClockWillDo() ? CLOCK_MONOTONIC_COARSE : CLOCK_MONOTONIC), start_(read()) {}

  FileTime sinceStart() const { return read() - start_; }

private:
  FileTime read() const {
    timespec now{};
    const bool gotMonoTime = ::clock_gettime(id_, &now) == 0;
    PLAT_ASSERT_AS(gotMonoTime, "gotMonoTime", "base/plat/time", __LINE__);
    return toTicks(now);
  }

  clockid_t id_;
  FileTime start_;
};

std::atomic<MonoTimeHook> monoTimeHook{nullptr};

}  // namespace

FileTime getTime() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  return fileTimeFromUnix(now.tv_sec, now.tv_usec);
}

FileTime getMonoTime(FileTime limit, bool* jumped) {
  bool hookJumped = false;
  bool& outcome = jumped != nullptr ? *jumped : hookJumped;
  outcome = false;
  if (const MonoTimeHook hook = monoTimeHook.load(std::memory_order_relaxed)) {
    return hook(limit, outcome);
  }
  // Made at the first call, from which its readings count; until then no clock has to be chosen.
  static const MonoClock clock;
  return clock.sinceStart();
}

void setMonoTimeHook(MonoTimeHook hook) noexcept {
  monoTimeHook = hook;
}

FileTime fileTimeFromUnix(std::int64_t seconds, std::int64_t microseconds) noexcept {
  return clampToTicks(static_cast<Wide>(seconds) * TicksPerSecond + static_cast<Wide>(microseconds) * 10 +
                      UnixEpochTicks);
}

void fileTimeToUnix(FileTime time, std::int64_t& seconds, std::int64_t& microseconds) noexcept {
  FileTime whole = time / TicksPerSecond;
  FileTime rest = time % TicksPerSecond;
  // Division rounds towards zero, but times before 1601 are to be rounded down like all others.
  if (rest < 0) {
    rest += TicksPerSecond;
    --whole;
  }
  seconds = whole - UnixEpochSeconds;
  microseconds = rest / 10;
}

int msUntil(FileTime deadline, FileTime now) noexcept {
  const FileTime ticks = deadline - now;
  // Rounded up by way of `ticks - 1`: adding nearly a millisecond could overflow for a time that never comes.
  return ticks <= 0 ? 0 : static_cast<int>(std::min<FileTime>((ticks - 1) / TicksPerMs + 1, INT_MAX));
}

timeval selectLimit(int ms) noexcept {
  const long wait = ms == 0 || ms == INT_MAX ? ms : ms + 1L;
  return {wait / 1000, wait % 1000 * 1000};
}

/// A wait that ran its time needs no look at the clock; only one that a signal cut short is measured and goes on.
void sleepMs(int ms) {
  if (ms <= 0) {
    return;
  }
  const FileTime end = getMonoTime() + ms * TicksPerMs;
  for (int restMs = ms; restMs > 0; restMs = msUntil(end, getMonoTime())) {
    timeval wait = selectLimit(restMs);
    if (::select(0, nullptr, nullptr, nullptr, &wait) == 0) {
      return;
    }
    if (errno != EINTR) {
      throw SystemException("select", errno);
    }
  }
}

}  // namespace plat
