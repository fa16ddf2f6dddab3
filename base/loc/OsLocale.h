#pragma once

#include <string>
#include <vector>

#include <locale.h>

namespace loc {

/// How a locale encodes text, as far as anything here cares.
enum class Codeset : int { Other = 0, Utf8 = 1, Latin1 = 2, Ascii = 3 };

/// A locale that the system library supports: its name there, and its class of codeset.
struct OsLocale {
  std::string name = "C";
  Codeset codeset = Codeset::Ascii;
};

/// The class of a codeset by its name, such as "UTF-8" or "ANSI_X3.4-1968".
Codeset classifyCodeset(const char* codeset);

/// Finds the system library's best spelling of a locale name: UTF-8 if there is such a one, else ISO 8859-1 or ASCII.
/// What was found is cached. Any thread may call, but a call that finds nothing in the cache changes the process's
/// LC_CTYPE for a moment.
/// @return false if the system does not know the locale; `result` is then untouched.
bool resolveOsLocale(const std::string& name, OsLocale& result);

/// The first of `locales` that the system supports, or "C". Each refusal is logged at level 30.
OsLocale chooseOsLocale(const std::vector<std::string>& locales);

/// The name that LC_MESSAGES takes from the environment ("C" where nothing is set). Asked for once.
const std::string& systemLocaleName();

/// The process's OS locale, "C" until localisation has started. Guarded by a lock of its own; any thread may call.
OsLocale processOsLocale();
void setProcessOsLocale(const OsLocale& locale);

/// The system library's locale object for `name`, made at the first call and kept for the process's lifetime, since
/// making one reads files and a listing applies one for every sort.
/// @return null if the system does not know the name.
locale_t osLocaleObject(const std::string& name);

}  // namespace loc
