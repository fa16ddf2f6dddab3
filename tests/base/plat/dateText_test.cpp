#include "base/plat/dateText.h"

#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/thrown.h"

namespace plat {
namespace {

std::string text(const String& s) {
  return s.orEmpty();
}

// The zone of the process while a test runs.
class Zone {
public:
  explicit Zone(const char* zone) {
    const char* const tz = std::getenv("TZ");
    had_ = tz != nullptr;
    before_ = had_ ? tz : "";
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~Zone() {
    had_ ? ::setenv("TZ", before_.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
  }

private:
  bool had_;
  std::string before_;
};

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

TEST(FormatIso, writesAnyYear) {
  const struct {
    FileTime time;
    const char* expected;
  } cases[] = {{-1, "1600-12-31T23:59:59.999"},
               {UnixEpochTicks + 12'345'678, "1970-01-01T00:00:01.234"},
               {makeTime(10'000, 1, 1, 0, 0, 0), "10000-01-01T00:00:00.000"},
               {makeTime(7, 2, 3, 4, 5, 6), "0007-02-03T04:05:06.000"},
               {std::numeric_limits<FileTime>::max(), "30828-09-14T02:48:05.477"},
               {std::numeric_limits<FileTime>::min(), "-27627-04-19T21:11:54.522"}};
  for (const auto& c : cases) {
    EXPECT_EQ(text(formatIso(c.time, true)), c.expected);
    EXPECT_EQ(text(formatIso(c.time, false)) + ".", std::string(c.expected).substr(0, std::strlen(c.expected) - 3));
    EXPECT_EQ(text(formatIsoUtc(c.time, true)), std::string(c.expected) + "Z");
  }
  std::tm tooLate{};
  tooLate.tm_year = INT_MAX - 1899;
  EXPECT_EQ(text(formatIso(tooLate)), "<date error>");
}

TEST(FormatIso, theLocalFormTellsTheOffset) {
  const FileTime noon = makeTime(2024, 7, 1, 12, 0, 0) + 1'230'000;
  const struct {
    const char* zone;
    const char* expected;
  } cases[] = {{"UTC0", "2024-07-01T12:00:00.123+00:00"},
               {"AAA-05:30", "2024-07-01T17:30:00.123+05:30"},
               {"BBB+03:45", "2024-07-01T08:15:00.123-03:45"},
               {"CCC-1DDD,M3.5.0,M10.5.0/3", "2024-07-01T14:00:00.123+02:00"}};
  for (const auto& c : cases) {
    const Zone zone(c.zone);
    EXPECT_EQ(text(formatIsoLocal(noon, true)), c.expected);
    EXPECT_EQ(parseIso(c.expected), noon);
  }
}

TEST(FormatDate, isStrftimeWithYearsOfAtLeastFourDigits) {
  const std::tm day = utcBreakdown(makeTime(33, 4, 5, 6, 7, 8));
  EXPECT_EQ(text(formatDate("%Y-%m-%d %%Y %%%Y%% %H%M%S %Z", day)), "0033-04-05 %Y %0033% 060708 UTC");
  const std::string longest(1021, 'x');  // 1024 bytes with the day and the terminator
  EXPECT_EQ(text(formatDate((longest + "%d").c_str(), day)), longest + "05");
  EXPECT_EQ(text(formatDate((longest + "x%d").c_str(), day)), "<date error>");
}

TEST(ParseIso, acceptsEveryFormOfZoneAndFraction) {
  const FileTime base = makeTime(2024, 2, 29, 12, 34, 56);
  const struct {
    std::string rest;
    FileTime expected;
  } cases[] = {{"56Z", base},
               {"56.5", base + 5'000'000},
               {"56.12345678999Z", base + 1'234'567},
               {"56+01", base - 3600 * TicksPerSecond},
               {"56-0130", base + 5400 * TicksPerSecond},
               {"56.0+23:59", base - (24 * 3600 - 60) * TicksPerSecond},
               {"60", base + 4 * TicksPerSecond}};
  for (const auto& c : cases) {
    EXPECT_EQ(parseIso(("2024-02-29T12:34:" + c.rest).c_str()), c.expected) << c.rest;
  }
}

TEST(ParseIso, refusesEverythingElse) {
  for (const char* bad : {"", "2024-02-29", "2024-02-29 12:34:56", "2024-02-30T12:34:56", "2024-01-01T00:00:0",
                          "10000-01-01T00:00:00", "-024-01-01T00:00:00", "2024-1-01T00:00:00"}) {
    EXPECT_EQ(test::messageFrom([&] { parseIso(bad); }), "invalid date (" + std::string(bad) + ")");
  }
  for (const char* rest : {".", ".Z", "ZZ", "z", "+1", "+01:", "+01:0", "+01:000", "+24:00", "+0060", " "}) {
    EXPECT_FALSE(tryParseIso(("2024-01-01T00:00:00" + std::string(rest)).c_str())) << rest;
  }
  EXPECT_FALSE(tryParseIso(nullptr));
}

TEST(MakeTime, checksEveryField) {
  const struct {
    int year, month, day, hours, minutes, seconds;
    bool valid;
  } cases[] = {
      {2000, 2, 29, 0, 0, 0, true},       {1900, 2, 29, 0, 0, 0, false},       {2024, 2, 29, 23, 59, 60, true},
      {2023, 2, 29, 0, 0, 0, false},      {2023, 4, 31, 0, 0, 0, false},       {2023, 12, 31, 0, 0, 0, true},
      {2023, 0, 1, 0, 0, 0, false},       {2023, 13, 1, 0, 0, 0, false},       {2023, 1, 0, 0, 0, 0, false},
      {2023, 1, 1, 24, 0, 0, false},      {2023, 1, 1, 0, 60, 0, false},       {2023, 1, 1, 0, 0, 61, false},
      {2023, 1, 1, -1, 0, 0, false},      {30'828, 9, 14, 2, 48, 5, true},     {30'828, 9, 14, 2, 48, 6, false},
      {-27'627, 4, 19, 21, 11, 55, true}, {-27'627, 4, 19, 21, 11, 54, false}, {INT_MIN, 1, 1, 0, 0, 0, false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(tryMakeTime(c.year, c.month, c.day, c.hours, c.minutes, c.seconds).has_value(), c.valid)
        << c.year << '-' << c.month << '-' << c.day << ' ' << c.hours << ':' << c.minutes << ':' << c.seconds;
  }
  EXPECT_EQ(test::messageFrom([] { makeTime(1900, 2, 29, 1, 2, 3); }), "invalid date (1900-02-29T01:02:03)");
}

TEST(ParseBuildDate, readsTheCompilersDate) {
  EXPECT_TRUE(parseBuildDate(__DATE__));
  const auto date = parseBuildDate("Feb  3 0999");
  EXPECT_TRUE(date && date->year == 999 && date->month == 2 && date->day == 3);
  for (const char* bad : {"", "feb 03 2024", "Foo 03 2024", "Feb 00 2024", "Feb 32 2024", "Feb 03 0000", "Feb 3 2024",
                          "Feb 03 202", "Feb 03 2024 "}) {
    EXPECT_FALSE(parseBuildDate(bad)) << bad;
  }
}

}  // namespace
}  // namespace plat
