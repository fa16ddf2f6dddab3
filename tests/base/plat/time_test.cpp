#include "base/plat/Time.h"

#include <cmath>
#include <limits>

#include <sys/time.h>

#include "base/plat/dateText.h"
#include "tests/support/prelude.h"

namespace plat {
namespace {

using namespace test;

constexpr FileTime Smallest = std::numeric_limits<FileTime>::min();
constexpr FileTime Largest = std::numeric_limits<FileTime>::max();

TEST(FileTime, countsTicksFrom1601SaturatesAndTurnsBackRoundedDown) {
  for (const auto& [seconds, microseconds, ticks, secondsBack, microsecondsBack] : {
           std::tuple<std::int64_t, std::int64_t, FileTime, std::int64_t, std::int64_t>(0, 0, UnixEpochTicks, 0, 0),
           {1, 999'999, 116'444'736'019'999'990, 1, 999'999},
           {-11'644'473'600, -1, -10, -11'644'473'601, 999'999},
           {910'692'730'085, 477'580, Largest - 7, 910'692'730'085, 477'580},  // the last microsecond that fits
           {910'692'730'085, 477'581, Largest, 910'692'730'085, 477'580},
           {-933'981'677'285, -477'580, Smallest + 8, -933'981'677'286, 522'420},
           {Smallest, Smallest, Smallest, -933'981'677'286, 522'419},
       }) {
    EXPECT_EQ(fileTimeFromUnix(seconds, microseconds), ticks);
    std::pair<std::int64_t, std::int64_t> back;
    fileTimeToUnix(ticks, back.first, back.second);
    EXPECT_EQ(back, std::pair(secondsBack, microsecondsBack));
  }
}

TEST(Time, theMonotonicClockRunsEvenlyFromItsFirstReadingAndSleepMsSleepsThroughSignals) {
  using std::chrono::milliseconds, std::chrono::steady_clock;
  static volatile sig_atomic_t alarms = 0;
  ::signal(SIGALRM, [](int) { alarms = alarms + 1; });
  const itimerval every7ms{{0, 7'000}, {0, 7'000}}, off{};
  ::setitimer(ITIMER_REAL, &every7ms, nullptr);
  bool jumped = true;
  const auto beforeBegin = steady_clock::now();
  const FileTime begin = getMonoTime(-1, &jumped);
  const auto afterBegin = steady_clock::now();
  sleepMs(80);
  const auto beforeEnd = steady_clock::now();
  const milliseconds span((getMonoTime() - begin) / TicksPerMs);
  ::setitimer(ITIMER_REAL, &off, nullptr);
  ::signal(SIGALRM, SIG_DFL);
  EXPECT_FALSE(jumped);
  EXPECT_THAT(begin, AllOf(Ge(0), Lt(3600 * TicksPerSecond)))
      << "counts from the first reading, not from the start of the machine";
  EXPECT_GE(alarms, 1);
  EXPECT_GE(beforeEnd - afterBegin, milliseconds(80));
  // Bounds that hold however long this thread is kept from running between two readings.
  EXPECT_GE(span + milliseconds(2), beforeEnd - afterBegin);
  EXPECT_LE(span - milliseconds(2), steady_clock::now() - beforeBegin);
}

TEST(UtcBreakdown, agreesWithTheSystemOverFiftyThousandYears) {
  constexpr std::int64_t Step = 86'400LL * 97 + 12'345;
  for (std::int64_t seconds = -933'000'000'000; seconds < 910'000'000'000; seconds += Step) {
    const std::time_t unixTime = seconds;
    std::tm expected{};
    ASSERT_NE(::gmtime_r(&unixTime, &expected), nullptr);
    const std::tm actual = utcBreakdown(fileTimeFromUnix(seconds, 999'999));
    const auto fields = [](const std::tm& t) {
      return std::array{t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec, t.tm_wday, t.tm_yday};
    };
    ASSERT_EQ(fields(actual), fields(expected)) << seconds;
    ASSERT_EQ(makeTime(actual.tm_year + 1900, actual.tm_mon + 1, actual.tm_mday, actual.tm_hour, actual.tm_min,
                       actual.tm_sec),
              fileTimeFromUnix(seconds));
  }
  EXPECT_STREQ(utcBreakdown(0).tm_zone, "UTC");
}

TEST(FormatIso, writesAnyYearAndTheOffsetOfTheLocalForm) {
  for (const auto& [time, expected] : {std::pair(FileTime{-1}, "1600-12-31T23:59:59.999"),
                                       {UnixEpochTicks + 12'345'678, "1970-01-01T00:00:01.234"},
                                       {makeTime(10'000, 1, 1, 0, 0, 0), "10000-01-01T00:00:00.000"},
                                       {makeTime(7, 2, 3, 4, 5, 6), "0007-02-03T04:05:06.000"},
                                       {Smallest, "-27627-04-19T21:11:54.522"}}) {
    const std::string whole(expected);
    EXPECT_EQ(formatIso(time, false), whole.substr(0, whole.size() - 4).c_str());
    EXPECT_EQ(formatIsoUtc(time, true), (whole + "Z").c_str());
  }
  std::tm tooLate{};
  tooLate.tm_year = INT_MAX - 1899;
  EXPECT_EQ(formatIso(tooLate), "<date error>");

  const FileTime noon = makeTime(2024, 7, 1, 12, 0, 0) + 1'230'000;
  for (const auto& [zone, expected] : {std::pair("AAA-05:30", "2024-07-01T17:30:00.123+05:30"),
                                       {"BBB+03:45", "2024-07-01T08:15:00.123-03:45"},
                                       {"CCC-1DDD,M3.5.0,M10.5.0/3", "2024-07-01T14:00:00.123+02:00"},
                                       {"UTC0", "2024-07-01T12:00:00.123+00:00"}}) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    EXPECT_EQ(formatIsoLocal(noon, true), expected);
    EXPECT_EQ(parseIso(expected), noon);
  }
}

TEST(FormatDate, isStrftimeWithYearsOfAtLeastFourDigits) {
  const std::tm day = utcBreakdown(makeTime(33, 4, 5, 6, 7, 8));
  EXPECT_EQ(formatDate("%Y-%m-%d %%Y %%%Y%% %H%M%S %Z", day), "0033-04-05 %Y %0033% 060708 UTC");
  const std::string longest(1021, 'x');  // 1024 bytes with the day and the terminator
  EXPECT_EQ(formatDate((longest + "%d").c_str(), day), (longest + "05").c_str());
  EXPECT_EQ(formatDate((longest + "x%d").c_str(), day), "<date error>");
}

TEST(ParseIso, acceptsEveryFormOfZoneAndFractionAndRefusesEverythingElse) {
  const FileTime base = makeTime(2024, 2, 29, 12, 34, 56);
  for (const auto& [rest, offset] : {std::pair("56Z", 0.0),
                                     {"56.5", 0.5},
                                     {"56.12345678999Z", 0.1234567},
                                     {"56+01", -3600.0},
                                     {"56-0130", 5400.0},
                                     {"56.0+23:59", -86340.0},
                                     {"60", 4.0}}) {
    EXPECT_EQ(parseIso((std::string("2024-02-29T12:34:") + rest).c_str()), base + std::llround(offset * TicksPerSecond))
        << rest;
  }
  EXPECT_EQ(parseIso("2000-02-29T23:59:60"), makeTime(2000, 3, 1, 0, 0, 0));

  for (const char* bad : {"", "2024-02-29", "2024-02-29 12:34:56", "10000-01-01T00:00:00", "-024-01-01T00:00:00",
                          "2024-01-01T00:00:0", "2024-02-30T12:34:56", "1900-02-29T00:00:00", "2023-02-29T00:00:00",
                          "2023-00-01T00:00:00", "2023-13-01T00:00:00", "2023-01-00T00:00:00", "2023-01-01T24:00:00",
                          "2023-01-01T00:60:00", "2023-01-01T00:00:61"}) {
    EXPECT_EQ(messageFrom([&] { parseIso(bad); }), "invalid date (" + std::string(bad) + ")");
  }
  for (const char* rest : {".", ".Z", "ZZ", "z", "+1", "+01:", "+01:0", "+01:000", "+24:00", "+0060"}) {
    EXPECT_FALSE(tryParseIso(("2024-01-01T00:00:00" + std::string(rest)).c_str())) << rest;
  }
  EXPECT_TRUE(tryMakeTime(30'828, 9, 14, 2, 48, 5));
  EXPECT_THAT((std::array{tryParseIso(nullptr), tryMakeTime(30'828, 9, 14, 2, 48, 6),
                          tryMakeTime(-27'627, 4, 19, 21, 11, 54), tryMakeTime(2023, 1, 1, -1, 0, 0)}),
              Each(std::nullopt));
  EXPECT_EQ(messageFrom([] { makeTime(1900, 2, 29, 1, 2, 3); }), "invalid date (1900-02-29T01:02:03)");
}

TEST(ParseBuildDate, readsTheCompilersDate) {
  EXPECT_TRUE(parseBuildDate(__DATE__));
  const BuildDate date = parseBuildDate("Feb  3 0999").value();
  EXPECT_THAT((std::array{date.year, date.month, date.day}), ElementsAre(999, 2, 3));
  for (const char* bad :
       {"", "Foo 03 2024", "Feb 00 2024", "Feb 32 2024", "Feb 03 0000", "Feb 3 2024", "Feb 03 202", "Feb 03 2024 "}) {
    EXPECT_FALSE(parseBuildDate(bad)) << bad;
  }
}

}  // namespace
}  // namespace plat
