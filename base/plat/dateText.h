#pragma once

#include <ctime>
#include <optional>

#include "base/plat/String.h"
#include "base/plat/Time.h"

namespace plat {

/// Broken-down times and their text. All dates are Gregorian, also before that calendar began (ISO 8601 calls this
/// proleptic); years are astronomical, so 0 is 1 BC.

/// The UTC date and time of `time`, sub-second part dropped, with `tm_zone` "UTC".
std::tm utcBreakdown(FileTime time) noexcept;

/// The same in the zone of the process. Where the system cannot tell, it is UTC.
std::tm localBreakdown(FileTime time);

/// "2024-02-29T12:34:56", with `ms` 0 to 999 "2024-02-29T12:34:56.789"; "<date error>" if the year overflows an int.
String formatIso(const std::tm& brokenDown, int ms = -1);
/// The UTC date and time of `time`, without a word on the zone.
String formatIso(FileTime time, bool withMs);
/// The same with "Z" behind it.
String formatIsoUtc(FileTime time, bool withMs);
/// Local date and time with the offset from UTC behind it: "2024-02-29T13:34:56+01:00".
String formatIsoLocal(FileTime time, bool withMs);

/// strftime, but `%Y` has at least four digits. "<date error>" if the text has more than 1023 bytes.
String formatDate(const char* format, const std::tm& brokenDown);

/// Reads "YYYY-MM-DDTHH:MM:SS", then optionally "." and digits, then nothing, "Z", or an offset "+HH", "+HHMM" or
/// "+HH:MM" (or with "-"). Without a zone the time is UTC. Digits below 100 ns are dropped.
/// @throws Exception "invalid date (%s)"
FileTime parseIso(const char* text);
std::optional<FileTime> tryParseIso(const char* text) noexcept;

/// The ticks of a UTC date and time. Second 60 is accepted and is the first of the next minute.
/// @param year -1000000 to 1000000, as far as ticks reach (about -27600 to 30828).
/// @throws Exception "invalid date (%04d-%02d-%02dT%02d:%02d:%02d)"
FileTime makeTime(int year, int month, int day, int hours, int minutes, int seconds);
std::optional<FileTime> tryMakeTime(int year, int month, int day, int hours, int minutes, int seconds) noexcept;

/// A calendar day as a compiler writes it into `__DATE__`.
struct BuildDate {
  int year;   ///< 1 to 9999
  int month;  ///< 1 to 12
  int day;    ///< 1 to 31, not checked against the month
};

/// Reads "Mmm DD YYYY" with English month names; a day below 10 may have a blank in place of its zero.
std::optional<BuildDate> parseBuildDate(const char* text) noexcept;

}  // namespace plat
