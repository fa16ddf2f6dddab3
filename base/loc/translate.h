#pragma once

#include <cstdint>

namespace loc {

class Localize;

/// The text of a key in the current thread's locales. A missing key is reported (badString.h), and the key itself is
/// the result.
///
/// Any thread may call. A text that is found lives as long as the process.
/// @param file,line the caller, for the log; `file` may be null.
/// @param raw true hands out the stored text, for the formatter; false collapses "%%" to "%". A key must always be
///   used with the same value: anything else is a fatal assertion.
const char* translate(const char* key, const char* file, int line, bool raw);

/// As translate(), but null and no log line if there is no such text.
const char* tryTranslate(const char* key, bool raw);

/// The text for a count, for the formatter: that of "<key>_sing" or "<key>_many", by the rule of the language that has
/// it. The best of the current thread's locales with the form that its own rule asks for wins.
/// Reporting, threads, lifetime, `file` and `line` are as for translate().
const char* translatePlural(Localize& localize, const char* key, std::int64_t count, const char* file, int line);

}  // namespace loc

/// The text of a key that is shown without arguments.
#define LOC_TR(key) LOC_TR_AS(key, __FILE__)
/// The same with the source named that reports of a missing text show: they keep it when the code moves.
#define LOC_TR_AS(key, file) ::loc::translate(key, file, __LINE__, false)
