#include "base/plat/Time.h"

#include <chrono>
#include <limits>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

namespace plat {
namespace {

constexpr FileTime Smallest = std::numeric_limits<FileTime>::min();
constexpr FileTime Largest = std::numeric_limits<FileTime>::max();

TEST(FileTime, countsTicksFrom1601AndSaturates) {
  const struct {
    std::int64_t seconds, microseconds;
    FileTime expected;
  } cases[] = {
      {1, 999'999, 116'444'736'019'999'990},
      {-11'644'473'600, -1, -10},
      {910'692'730'085, 477'580, Largest - 7},  // the last microsecond that fits
      {910'692'730'085, 477'581, Largest},
      {Largest, Largest, Largest},
      {-933'981'677'285, -477'580, Smallest + 8},
      {-933'981'677'286, 0, Smallest},
      {Smallest, Smallest, Smallest},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(fileTimeFromUnix(c.seconds, c.microseconds), c.expected) << c.seconds << " s " << c.microseconds << " us";
  }
}

TEST(FileTime, turnsBackIntoUnixTimeRoundedDown) {
  const struct {
    FileTime time;
    std::int64_t seconds, microseconds;
  } cases[] = {
      {UnixEpochTicks + 19, 0, 1},         {UnixEpochTicks - 1, -1, 999'999},     {-1, -11'644'473'601, 999'999},
      {Largest, 910'692'730'085, 477'580}, {Smallest, -933'981'677'286, 522'419},
  };
  for (const auto& c : cases) {
    std::int64_t seconds = 0;
    std::int64_t microseconds = 0;
    fileTimeToUnix(c.time, seconds, microseconds);
    EXPECT_EQ(seconds, c.seconds) << c.time;
    EXPECT_EQ(microseconds, c.microseconds) << c.time;
  }
}

TEST(Time, theMonotonicClockRunsEvenlyFromItsFirstReading) {
  bool jumped = true;
  const FileTime begin = getMonoTime(-1, &jumped);
  EXPECT_FALSE(jumped);
  EXPECT_GE(begin, 0);
  EXPECT_LT(begin, 3600 * TicksPerSecond) << "counts from the first reading, not from the start of the machine";
  const auto steady = std::chrono::steady_clock::now();
  sleepMs(30);
  const FileTime span = getMonoTime() - begin;
  const std::chrono::duration<double, std::milli> steadySpan = std::chrono::steady_clock::now() - steady;
  EXPECT_GE(span, 29 * TicksPerMs);
  EXPECT_NEAR(static_cast<double>(span) / TicksPerMs, steadySpan.count(), 10);
}

TEST(SleepMs, sleepsTheWholeTimeThroughSignals) {
  static volatile sig_atomic_t alarms = 0;
  ::signal(SIGALRM, [](int) { alarms = alarms + 1; });
  const itimerval every7ms{{0, 7'000}, {0, 7'000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &every7ms, nullptr), 0);
  const auto begin = std::chrono::steady_clock::now();
  sleepMs(std::numeric_limits<int>::min());  // nothing to sleep
  sleepMs(80);
  const auto span = std::chrono::steady_clock::now() - begin;
  const itimerval off{};
  setitimer(ITIMER_REAL, &off, nullptr);
  ::signal(SIGALRM, SIG_DFL);
  EXPECT_GE(alarms, 2);
  EXPECT_GE(span, std::chrono::milliseconds(80));
  EXPECT_LT(span, std::chrono::seconds(5));
}

}  // namespace
}  // namespace plat
