#include "base/loc/localeName.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace loc {

namespace {

// The system names its locales by language and territory, but a user may well say the language alone. Codeset and
// modifier are dropped from names: our texts are UTF-8 whatever they say.
using MainTerritory = std::pair<std::string_view, std::string_view>;

// Sorted by language for the binary search.
constexpr MainTerritory MainTerritories[] = {
    {"af", "ZA"}, {"be", "BY"}, {"bg", "BG"}, {"ca", "ES"}, {"cs", "CZ"}, {"da", "DK"}, {"de", "DE"}, {"dz", "BT"},
    {"el", "GR"}, {"en", "US"}, {"es", "ES"}, {"et", "EE"}, {"fa", "IR"}, {"fi", "FI"}, {"fo", "FO"}, {"fr", "FR"},
    {"ga", "IE"}, {"gu", "IN"}, {"he", "IL"}, {"hi", "IN"}, {"hr", "HR"}, {"hu", "HU"}, {"hy", "AM"}, {"is", "IS"},
    {"it", "IT"}, {"iu", "CA"}, {"ja", "JP"}, {"ka", "GE"}, {"ko", "KR"}, {"lt", "LT"}, {"lv", "LV"}, {"mk", "MK"},
    {"mr", "IN"}, {"mt", "MT"}, {"nb", "NO"}, {"ne", "NP"}, {"nl", "NL"}, {"nn", "NO"}, {"pl", "PL"}, {"pt", "BR"},
    {"ro", "RO"}, {"ru", "RU"}, {"sk", "SK"}, {"sl", "SI"}, {"sr", "RS"}, {"sv", "SE"}, {"th", "TH"}, {"to", "TO"},
    {"tr", "TR"}, {"uk", "UA"}, {"ur", "PK"}, {"uz", "UZ"}, {"vi", "VN"}, {"zh", "CN"},
};
// A row lost or misplaced would show only as one language without its territory.
static_assert(std::size(MainTerritories) == 54);
static_assert(std::is_sorted(std::begin(MainTerritories), std::end(MainTerritories)));

std::string_view mainTerritory(std::string_view language) {
  const auto* found =
      std::lower_bound(std::begin(MainTerritories), std::end(MainTerritories), language,
                       [](const MainTerritory& row, std::string_view wanted) { return row.first < wanted; });
  return found != std::end(MainTerritories) && found->first == language ? found->second : std::string_view();
}

void addOnce(std::vector<std::string>& list, const std::string& name) {
  if (std::find(list.begin(), list.end(), name) == list.end()) {
    list.push_back(name);
  }
}

/// The territory part of a locale name, empty if it has none.
std::string_view territoryOf(std::string_view name) {
  const std::size_t cut = name.find_first_of("_-.@");
  if (cut == std::string_view::npos || (name[cut] != '_' && name[cut] != '-')) {
    return {};
  }
  name.remove_prefix(cut + 1);
  return name.substr(0, name.find_first_of(".@"));
}

}  // namespace

std::string localeLanguage(const std::string& name) {
  return name.substr(0, name.find_first_of("_-.@"));
}

std::string normaliseLocale(const std::string& name, const std::string& hint) {
  const std::string language = localeLanguage(name);
  if (language.empty()) {
    return {};
  }
  std::string_view territory = territoryOf(name);
  // Ahead of the table: on a system set up for de_AT, "de" means that and not de_DE.
  if (territory.empty() && localeLanguage(hint) == language) {
    territory = territoryOf(hint);
  }
  if (territory.empty()) {
    territory = mainTerritory(language);
  }
  return territory.empty() ? language : language + "_" + std::string(territory);
}

std::vector<std::string> parseLocaleList(const char* list, const std::string& hint) {
  std::vector<std::string> result;
  const std::string text = list ? list : "";
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(':', start), text.size());
    const std::string name = normaliseLocale(text.substr(start, end - start), hint);
    if (!name.empty()) {
      addOnce(result, name);
    }
    start = end + 1;
  }
  return result;
}

/// Each is followed by its bare language, for texts that no territory words in its own way; English comes last,
/// since it has every text and so fills the gaps.
std::vector<std::string> expandLocaleList(const std::vector<std::string>& locales) {
  std::vector<std::string> result;
  for (const std::string& locale : locales) {
    addOnce(result, locale);
    addOnce(result, localeLanguage(locale));
  }
  addOnce(result, "en_US");
  addOnce(result, "en");
  return result;
}

std::string joinLocaleList(const std::vector<std::string>& locales) {
  std::string joined;
  for (const std::string& locale : locales) {
    joined += joined.empty() ? "" : ":";
    joined += locale;
  }
  return joined;
}

}  // namespace loc
