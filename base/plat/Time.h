#pragma once

#include <cstdint>

#include <sys/time.h>

namespace plat {

/// A time or a span in ticks of 100 ns. Wall-clock times count from 1601-01-01 00:00:00 UTC; readings of the
/// monotonic clock count from its first reading in this process.
using FileTime = std::int64_t;

inline constexpr FileTime TicksPerMs = 10'000;
inline constexpr FileTime TicksPerSecond = 10'000'000;
/// 1970-01-01 00:00:00 UTC, in ticks.
inline constexpr FileTime UnixEpochTicks = 116'444'736'000'000'000;

/// The wall clock, to the microsecond.
FileTime getTime();

/// The monotonic clock, for spans and time-outs. It is the cheap coarse clock where that one ticks at least every
/// millisecond. Any thread.
/// @param limit handed to the hook: the reading from which on a forward jump is suspected, -1 for none.
/// @param jumped if not null, set to whether the clock jumped; always false unless a hook says otherwise.
FileTime getMonoTime(FileTime limit = -1, bool* jumped = nullptr);

/// Stands in for the monotonic clock: on platforms whose clock may jump, and in tests that move time by hand. Its
/// answer is taken as it is; it sets `jumped` when the clock did not run evenly since its last reading.
using MonoTimeHook = FileTime (*)(FileTime limit, bool& jumped);

/// Installs the hook, or with null the system's clock again. Not while timers are running.
void setMonoTimeHook(MonoTimeHook hook) noexcept;

/// The ticks of a Unix time. Beyond the range of ticks it is the smallest or the largest value.
FileTime fileTimeFromUnix(std::int64_t seconds, std::int64_t microseconds = 0) noexcept;

/// The Unix time of `time`, rounded down to the microsecond; `microseconds` is 0 to 999999 also before 1970.
void fileTimeToUnix(FileTime time, std::int64_t& seconds, std::int64_t& microseconds) noexcept;

/// Milliseconds from `now` to `deadline`, rounded up, so that who waits for so long does not wake too early.
/// @return 0 if the deadline has come; at most 2147483647
int msUntil(FileTime deadline, FileTime now) noexcept;

/// How long select(2) is to wait for `ms` milliseconds, 0 or more. It is one more than that, since the clock may be
/// just before its next tick and what is due at the limit should be due when select returns; but 0 and 2147483647 stay.
timeval selectLimit(int ms) noexcept;

/// Blocks the thread for at least `ms` milliseconds, signals notwithstanding; returns at once for 0 or less.
/// @throws SystemException "select"
void sleepMs(int ms);

}  // namespace plat
