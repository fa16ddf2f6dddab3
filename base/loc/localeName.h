#pragma once

#include <string>
#include <vector>

namespace loc {

/// One locale name in the system's own form: "language_TERRITORY", or "language" alone where no territory is known.
///
/// Codeset and modifier are cut off; a bare language gets its main territory from a fixed table.
/// @param name such as "de", "de-AT", "fr_FR.UTF-8@euro".
/// @param hint a locale name whose territory, if it has one, a bare language takes instead if it is the same language.
/// @return empty if `name` has no language part.
std::string normaliseLocale(const std::string& name, const std::string& hint = {});

/// The normalised names of a ":"-separated list, each once, in order. Null gives none.
std::vector<std::string> parseLocaleList(const char* list, const std::string& hint = {});

/// The locales whose texts serve `locales`: each one, then its language alone, and at the end "en_US" and "en".
std::vector<std::string> expandLocaleList(const std::vector<std::string>& locales);

/// The names joined with ":".
std::string joinLocaleList(const std::vector<std::string>& locales);

/// The part of a locale name ahead of the first of "_-.@".
std::string localeLanguage(const std::string& name);

}  // namespace loc
