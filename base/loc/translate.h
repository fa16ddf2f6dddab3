#pragma once

namespace loc {

/// The text of a key in the current thread's locales. A missing key is logged, and the key itself is the result.
///
/// Any thread may call. The result lives until the texts in force change.
/// @param file,line the caller, for the log; `file` may be null.
/// @param raw true hands out the stored text, for the formatter; false collapses "%%" to "%". A key must always be
///   used with the same value: anything else is a fatal assertion.
const char* translate(const char* key, const char* file, int line, bool raw);

/// As translate(), but null and no log line if there is no such text.
const char* tryTranslate(const char* key, bool raw);

}  // namespace loc

/// The text of a key that is shown without arguments.
#define LOC_TR(key) ::loc::translate(key, __FILE__, __LINE__, false)
