#include "base/loc/Localize.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "base/loc/BuiltInTexts.h"
#include "base/loc/OsLocale.h"
#include "base/loc/TransMap.h"
#include "base/loc/loadStrings.h"
#include "base/loc/localeLog.h"
#include "base/loc/localeName.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/Lock.h"
#include "base/plat/assert.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/utf8.h"

// Texts come from three places, each over the one before: built-in tables, resources in the program, files in the
// folders. load() takes them up for a locale when it is first asked for; update() decides which locales count.

namespace loc {

namespace {

plat::StringParameter localeParameter("Locale", plat::LocDesc("loc_param_locale"), "");

/// The languages that a row has a text in.
constexpr struct {
  std::string_view locale;
  const char* TextRow::*text;
} Columns[] = {
    {"de", &TextRow::de}, {"en", &TextRow::en}, {"es", &TextRow::es}, {"fr", &TextRow::fr}, {"pt", &TextRow::pt},
};

void addFirst(Localize::Table& table, const char* key, const char* text) {
  if (!plat::isValidUtf8(text)) {
    plat::assertFailed(plat::AssertionFail("isValidUtf8(str)", "base/loc/Localize", __LINE__, plat::Formatted,
                                           "Bad UTF-8 in %s", key));
  }
  table.try_emplace(key, text);
}

}  // namespace

Localize& Localize::instance() {
  static plat::NeverDestroyed<Localize> instance;  // outlives every static object that may still translate
  return *instance;
}

void Localize::addBuiltIn(const char* locale, const char* key, const char* text) {
  const plat::Lock lock(mutex_);
  takeBuiltIn(locale);  // what was added before comes first
  addFirst(tables_[locale], key, text);
}

void Localize::addBuiltInTable(std::span<const TextRow> rows) {
  const plat::Lock lock(mutex_);
  builtIn_.push_back(rows);
}

void Localize::storeString(const char* locale, const char* key, const char* text) {
  const plat::Lock lock(mutex_);
  Table& table = tables_[locale];
  const auto found = table.find(key);
  if (found != table.end()) {
    found->second = keep(text);
  } else {
    // The table holds views only; what it is given here belongs to the caller.
    table.emplace(keep(key), keep(text));
  }
}

const char* Localize::keep(std::string_view text) {
  // The elements of a set stay where they are, whatever comes after them.
  return kept_.emplace(text).first->c_str();
}

/// Puts the built-in texts of a locale into its table, as far as they are not there yet.
/// @return whether there were any.
bool Localize::takeBuiltIn(std::string_view locale) {
  static_assert(std::size(Columns) == BuiltInLanguages);
  const auto* column = std::find_if(std::begin(Columns), std::end(Columns),
                                    [locale](const auto& candidate) { return candidate.locale == locale; });
  if (column == std::end(Columns)) {
    return false;
  }
  std::size_t& taken = taken_[static_cast<std::size_t>(column - Columns)];
  // Tables may come after a language was first asked for; it takes up those that it has not seen.
  const bool isNews = taken < builtIn_.size();
  for (; taken < builtIn_.size(); ++taken) {
    Table& table = tables_[std::string(locale)];
    for (const TextRow& row : builtIn_[taken]) {
      addFirst(table, row.key, row.*column->text);
    }
  }
  return isNews;
}

const Localize::Table* Localize::table(const std::string& locale) {
  takeBuiltIn(locale);
  const auto found = tables_.find(locale);
  return found == tables_.end() ? nullptr : &found->second;
}

bool Localize::load(const std::vector<std::string>& locales) {
  bool found = false;
  for (const std::string& locale : locales) {
    found |= takeBuiltIn(locale);
    if (!loaded_.insert(locale).second) {
      continue;
    }
    found |= loadStringResource(locale.c_str(), *this);
    for (const std::string& dir : searchDirs_) {
      found |= loadStringFile(dir.c_str(), locale.c_str(), *this);
    }
  }
  return found;
}

std::vector<std::string> Localize::locales() {
  const plat::Lock lock(mutex_);
  return locales_;
}

void Localize::setSearchDirs(const std::vector<std::string>& dirs) {
  const plat::Lock lock(mutex_);
  searchDirs_ = dirs;
  // Files of the new folders are read over what is there. Texts of the old ones stay: whoever was handed one may keep
  // it.
  loaded_.clear();
  if (!hooked_) {
    hooked_ = true;
    localeParameter.addCallback(this);
  }
  update();
}

void Localize::setExportLanguage(bool on) {
  const plat::Lock lock(mutex_);
  exportLanguage_ = on;
}

void Localize::parameterChanged(plat::ConfigParameter&, int) {
  update();
}

void Localize::takeSystemLocale() {
  const std::string& name = systemLocaleName();
  OsLocale found;  // "C" where the name does not resolve
  resolveOsLocale(name, found);
  setProcessOsLocale(found);
  const std::string plain = name.substr(0, name.find_first_of(".@"));
  const char* language = std::getenv("LANGUAGE");
  // As in the C library's own messages, "C" means that no translation is wanted, even where it resolves to C.UTF-8.
  if (name != "C" && language && *language) {
    locales_ = parseLocaleList(language, plain);
  } else {
    locales_ = {plain};
  }
}

void Localize::exportToEnvironment() const {
  const char* old = std::getenv("LANGUAGE");
  const std::string before = old ? old : "";
  const std::string& first = locales_.front();
  if (before.substr(0, before.find(':')) != first) {
    // Ahead of what was there, which stays as the second choice.
    setenv("LANGUAGE", (before.empty() ? first : first + ":" + before).c_str(), 1);
  }
}

void Localize::update() {
  const plat::Lock lock(mutex_);
  const plat::String chosen = localeParameter.getValueStr();
  locales_.clear();
  if (chosen.empty()) {
    takeSystemLocale();
  } else {
    locales_ = parseLocaleList(chosen.get());
  }
  if (std::find(locales_.begin(), locales_.end(), "en_US") == locales_.end()) {
    // The language in which every key has a text.
    locales_.emplace_back("en_US");
  }
  if (exportLanguage_) {
    exportToEnvironment();
  }
  if (!chosen.empty()) {
    setProcessOsLocale(chooseOsLocale(locales_));
  }
  TransMap::process().update(locales_);
  const std::string joined = joinLocaleList(locales_);
  if (joined != lastLogged_) {
    lastLogged_ = joined;
    localeLog().info("Locales %s", joined.c_str());
  }
}

}  // namespace loc
