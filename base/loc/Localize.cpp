#include "base/loc/Localize.h"

#include <algorithm>
#include <cstdlib>

#include "base/loc/OsLocale.h"
#include "base/loc/TransMap.h"
#include "base/loc/localeLog.h"
#include "base/loc/localeName.h"
#include "base/plat/AssertionFail.h"
#include "base/plat/Lock.h"
#include "base/plat/LogSrc.h"
#include "base/plat/StringParameter.h"
#include "base/plat/assert.h"
#include "base/plat/utf8.h"

namespace loc {

namespace {

plat::StringParameter localeParameter("Locale", plat::LocDesc("loc_param_locale"), "");

}  // namespace

Localize& Localize::instance() {
  static Localize* const instance = new Localize;  // outlives every static object that may still translate
  return *instance;
}

void Localize::addBuiltIn(const char* locale, const char* key, const char* text) {
  if (!plat::isValidUtf8(text)) {
    plat::assertFailed(plat::AssertionFail("isValidUtf8(str)", "base/loc/Localize", __LINE__, plat::Formatted,
                                           "Bad UTF-8 in %s", key));
  }
  const plat::Lock lock(mutex_);
  tables_[locale].try_emplace(key, text);
}

void Localize::storeString(const char* locale, const char* key, const char* text) {
  const plat::Lock lock(mutex_);
  tables_[locale].insert_or_assign(key, StoredText(std::string(text)));
}

const Localize::Table* Localize::table(const std::string& locale) const {
  const auto found = tables_.find(locale);
  return found == tables_.end() ? nullptr : &found->second;
}

bool Localize::load(const std::vector<std::string>& locales) {
  loaded_.insert(locales.begin(), locales.end());
  return false;  // the built-in tables are all there is: nothing is read from disk yet
}

std::vector<std::string> Localize::locales() {
  const plat::Lock lock(mutex_);
  return locales_;
}

void Localize::setSearchDirs(const std::vector<std::string>& dirs) {
  const plat::Lock lock(mutex_);
  searchDirs_ = dirs;
  loaded_.clear();
  if (!hooked_) {
    hooked_ = true;
    localeParameter.addCallback(this);
  }
  update();
}

void Localize::parameterChanged(plat::ConfigParameter&, int) {
  update();
}

void Localize::takeSystemLocale() {
  const std::string& name = systemLocaleName();
  OsLocale found;
  if (resolveOsLocale(name, found)) {
    setProcessOsLocale(found);
  }
  const std::string plain = name.substr(0, name.find_first_of(".@"));
  const char* language = std::getenv("LANGUAGE");
  if (name != "C" && language && *language) {
    locales_ = parseLocaleList(language, plain);
  } else {
    locales_ = {plain};
  }
}

void Localize::exportLanguage() const {
  const char* old = std::getenv("LANGUAGE");
  const std::string before = old ? old : "";
  const std::string& first = locales_.front();
  if (before.substr(0, before.find(':')) != first) {
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
    locales_.emplace_back("en_US");
  }
  exportLanguage();
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
