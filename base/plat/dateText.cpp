#include "base/plat/dateText.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"

// Calculates with days from 1601-01-01, where a cycle of 400 years and the ticks both begin. Of the system's calendar
// only the local zone is used.

namespace plat {

namespace {

constexpr std::int64_t SecondsPerDay = 86'400;
constexpr std::size_t MaxDateText = 1024;  // with the terminator
constexpr const char* DateError = "<date error>";

constexpr std::int64_t floorDiv(std::int64_t value, std::int64_t by) noexcept {
  return value / by - (value % by < 0 ? 1 : 0);
}

constexpr bool isLeapYear(std::int64_t year) noexcept {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Days before each month of a common year; one more after February of a leap year.
constexpr int DaysBefore[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};

constexpr int daysBeforeMonth(std::int64_t year, int month0) noexcept {
  return DaysBefore[month0] + (month0 >= 2 && isLeapYear(year) ? 1 : 0);
}

constexpr int daysInMonth(std::int64_t year, int month0) noexcept {
  return daysBeforeMonth(year, month0 + 1) - daysBeforeMonth(year, month0);
}

// Days from 1601-01-01, which begins a cycle of 400 years, to the first day of `year`.
constexpr std::int64_t daysBeforeYear(std::int64_t year) noexcept {
  const std::int64_t years = year - 1601;
  return years * 365 + floorDiv(years, 4) - floorDiv(years, 100) + floorDiv(years, 400);
}
static_assert(daysBeforeYear(1970) * SecondsPerDay * TicksPerSecond == UnixEpochTicks);

constexpr std::int64_t yearOfDay(std::int64_t days) noexcept {
  // 400 years have 146097 days; the estimate is at most one off, either way.
  std::int64_t year = 1601 + floorDiv(days * 400, 146'097);
  while (daysBeforeYear(year) > days) {
    --year;
  }
  while (daysBeforeYear(year + 1) <= days) {
    ++year;
  }
  return year;
}

int millisecondsOf(FileTime time) noexcept {
  const FileTime rest = time % TicksPerSecond;
  return static_cast<int>((rest < 0 ? rest + TicksPerSecond : rest) / TicksPerMs);
}

bool readDigits(const char*& at, int count, int& out) noexcept {
  out = 0;
  for (int i = 0; i < count; ++i, ++at) {
    if (*at < '0' || *at > '9') {
      return false;
    }
    out = out * 10 + (*at - '0');
  }
  return true;
}

bool readChar(const char*& at, char expected) noexcept {
  if (*at != expected) {
    return false;
  }
  ++at;
  return true;
}

/// The digits behind the point, in ticks; at least one digit.
bool readFraction(const char*& at, FileTime& ticks) noexcept {
  // From the eighth digit on it is 0, and digits below a tick count for nothing.
  FileTime unit = TicksPerSecond / 10;
  const char* const begin = at;
  for (; *at >= '0' && *at <= '9'; ++at, unit /= 10) {
    ticks += (*at - '0') * unit;
  }
  return at != begin;
}

/// What follows the time: nothing, "Z" or an offset; up to the end of the text.
bool readZone(const char* at, FileTime& offset) noexcept {
  if (*at == '\0') {
    return true;
  }
  if (*at == 'Z') {
    return at[1] == '\0';
  }
  if (*at != '+' && *at != '-') {
    return false;
  }
  const int sign = *at++ == '-' ? -1 : 1;
  int hours = 0;
  int minutes = 0;
  if (!readDigits(at, 2, hours)) {
    return false;
  }
  if (*at != '\0') {
    readChar(at, ':');
    if (!readDigits(at, 2, minutes)) {
      return false;
    }
  }
  offset = sign * (hours * 3600L + minutes * 60L) * TicksPerSecond;
  return *at == '\0' && hours <= 23 && minutes <= 59;
}

/// The format with every `%Y` replaced by the year's digits. strftime's own have no fixed width for years below 1000.
std::string withYear(const char* format, std::int64_t year) {
  char digits[24];
  std::snprintf(digits, sizeof digits, "%04lld", static_cast<long long>(year));
  std::string text;
  for (const char* at = format; *at != '\0'; ++at) {
    if (*at != '%' || at[1] == '\0') {
      text += *at;
    } else if (*++at == 'Y') {
      text += digits;
    } else {
      text += '%';
      text += *at;
    }
  }
  return text;
}

std::int64_t yearOf(const std::tm& brokenDown) noexcept {
  return std::int64_t{brokenDown.tm_year} + 1900;
}

bool yearFits(const std::tm& brokenDown) noexcept {
  return yearOf(brokenDown) <= std::numeric_limits<int>::max();
}

}  // namespace

std::tm utcBreakdown(FileTime time) noexcept {
  const std::int64_t seconds = floorDiv(time, TicksPerSecond);
  const std::int64_t days = floorDiv(seconds, SecondsPerDay);
  const int secondOfDay = static_cast<int>(seconds - days * SecondsPerDay);
  const std::int64_t year = yearOfDay(days);

  std::tm out{};
  out.tm_yday = static_cast<int>(days - daysBeforeYear(year));
  while (daysBeforeMonth(year, out.tm_mon + 1) <= out.tm_yday) {
    ++out.tm_mon;
  }
  out.tm_year = static_cast<int>(year - 1900);
  out.tm_mday = out.tm_yday - daysBeforeMonth(year, out.tm_mon) + 1;
  out.tm_wday = static_cast<int>(days + 1 - floorDiv(days + 1, 7) * 7);  // 1601-01-01 was a Monday
  out.tm_hour = secondOfDay / 3600;
  out.tm_min = secondOfDay / 60 % 60;
  out.tm_sec = secondOfDay % 60;
  out.tm_zone = "UTC";
  return out;
}

std::tm localBreakdown(FileTime time) {
  // localtime_r(3), unlike localtime(3), need not look at the zone by itself.
  [[maybe_unused]] static const bool zoneRead = (::tzset(), true);
  std::int64_t seconds = 0;
  std::int64_t microseconds = 0;
  fileTimeToUnix(time, seconds, microseconds);
  const std::time_t unixTime = seconds;
  std::tm out{};
  return ::localtime_r(&unixTime, &out) != nullptr ? out : utcBreakdown(time);
}

String formatIso(const std::tm& brokenDown, int ms) {
  if (!yearFits(brokenDown)) {
    return DateError;
  }
  char text[64];
  int length = std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", static_cast<int>(yearOf(brokenDown)),
                             brokenDown.tm_mon + 1, brokenDown.tm_mday, brokenDown.tm_hour, brokenDown.tm_min,
                             brokenDown.tm_sec);
  if (ms >= 0 && length > 0 && length < static_cast<int>(sizeof text)) {
    std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), ".%03d", ms);
  }
  return text;
}

String formatIso(FileTime time, bool withMs) {
  return formatIso(utcBreakdown(time), withMs ? millisecondsOf(time) : -1);
}

String formatIsoUtc(FileTime time, bool withMs) {
  return String::format("%sZ", formatIso(time, withMs).orEmpty());
}

String formatIsoLocal(FileTime time, bool withMs) {
  const std::tm local = localBreakdown(time);
  const long offSecs = local.tm_gmtoff;
  PLAT_REQUIRE_AS(offSecs < 365L * 86400 && offSecs > -365L * 86400, "offSecs < 365*86400 && offSecs > -365*86400",
                  "base/plat/time", __LINE__);
  const int minutes = static_cast<int>(std::labs(offSecs) / 60);
  return String::format("%s%c%02d:%02d", formatIso(local, withMs ? millisecondsOf(time) : -1).orEmpty(),
                        offSecs < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

String formatDate(const char* format, const std::tm& brokenDown) {
  if (!yearFits(brokenDown)) {
    return DateError;
  }
  // The blank makes every text non-empty, so that 0 from strftime always means that the buffer is too small.
  const std::string full = withYear(format, yearOf(brokenDown)) + ' ';
  std::string text;
  for (std::size_t size = 16; size <= MaxDateText; size *= 2) {
    text.resize(size + 1);
    const std::size_t length = std::strftime(text.data(), text.size(), full.c_str(), &brokenDown);
    if (length > 0) {
      return String(text.data(), length - 1);
    }
  }
  return DateError;
}

std::optional<FileTime> tryParseIso(const char* text) noexcept {
  if (text == nullptr) {
    return std::nullopt;
  }
  int year = 0;
  int month = 0;
  int day = 0;
  int hours = 0;
  int minutes = 0;
  int seconds = 0;
  const char* at = text;
  if (!readDigits(at, 4, year) || !readChar(at, '-') || !readDigits(at, 2, month) || !readChar(at, '-') ||
      !readDigits(at, 2, day) || !readChar(at, 'T') || !readDigits(at, 2, hours) || !readChar(at, ':') ||
      !readDigits(at, 2, minutes) || !readChar(at, ':') || !readDigits(at, 2, seconds)) {
    return std::nullopt;
  }
  FileTime fraction = 0;
  FileTime offset = 0;
  if ((readChar(at, '.') && !readFraction(at, fraction)) || !readZone(at, offset)) {
    return std::nullopt;
  }
  const std::optional<FileTime> time = tryMakeTime(year, month, day, hours, minutes, seconds);
  // Years of four digits are far from the limits of the type.
  return time ? std::optional<FileTime>(*time + fraction - offset) : std::nullopt;
}

FileTime parseIso(const char* text) {
  if (const std::optional<FileTime> time = tryParseIso(text)) {
    return *time;
  }
  throw Exception(Formatted, "invalid date (%s)", text != nullptr ? text : "");
}

std::optional<FileTime> tryMakeTime(int year, int month, int day, int hours, int minutes, int seconds) noexcept {
  if (year < -1'000'000 || year > 1'000'000 || month < 1 || month > 12 || day < 1 ||
      day > daysInMonth(year, month - 1) || hours < 0 || hours > 23 || minutes < 0 || minutes > 59 || seconds < 0 ||
      seconds > 60) {
    return std::nullopt;
  }
  const std::int64_t days = daysBeforeYear(year) + daysBeforeMonth(year, month - 1) + day - 1;
  FileTime ticks = 0;
  if (__builtin_mul_overflow(days * SecondsPerDay + hours * 3600L + minutes * 60L + seconds, TicksPerSecond, &ticks)) {
    return std::nullopt;
  }
  return ticks;
}

FileTime makeTime(int year, int month, int day, int hours, int minutes, int seconds) {
  if (const std::optional<FileTime> time = tryMakeTime(year, month, day, hours, minutes, seconds)) {
    return *time;
  }
  throw Exception(Formatted, "invalid date (%04d-%02d-%02dT%02d:%02d:%02d)", year, month, day, hours, minutes, seconds);
}

std::optional<BuildDate> parseBuildDate(const char* text) noexcept {
  static constexpr std::array<const char*, 12> Months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                         "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (std::size_t month = 0; text != nullptr && month < Months.size(); ++month) {
    if (std::strncmp(text, Months[month], 3) != 0) {
      continue;
    }
    BuildDate date{0, static_cast<int>(month) + 1, 0};
    const char* at = text + 3;
    const bool dayHasOneDigit = at[0] == ' ' && at[1] == ' ';
    if (!readChar(at, ' ') || (dayHasOneDigit && !readChar(at, ' ')) ||
        !readDigits(at, dayHasOneDigit ? 1 : 2, date.day) || !readChar(at, ' ') || !readDigits(at, 4, date.year) ||
        *at != '\0' || date.day < 1 || date.day > 31 || date.year < 1) {
      return std::nullopt;
    }
    return date;
  }
  return std::nullopt;
}

}  // namespace plat
