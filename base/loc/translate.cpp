#include "base/loc/translate.h"

#include <string>

#include "base/loc/Localize.h"
#include "base/loc/TransMap.h"
#include "base/loc/badString.h"
#include "base/loc/localeName.h"
#include "base/plat/DString.h"
#include "base/plat/Lock.h"

namespace loc {

namespace {

/// The map in force, filled. The caller holds the translation lock.
TransMap& currentMap() {
  TransMap& map = TransMap::current();
  if (map.locales().empty()) {
    map.update({});  // before start-up has fixed a locale, English serves
  }
  return map;
}

void reportMissing(const char* what, const char* key, const char* file, int line) {
  plat::DString message;
  message.appendFormat("Missing %s for \"%s\"", what, key);
  if (file) {
    message.appendFormat(" (%s:%d)", file, line);
  }
  reportBadString(message.get());
}

const char* pluralForm(const std::string& locale, std::int64_t count) {
  // As grammar has it: French and the Portuguese of Brazil keep the singular below 2, and four languages have no
  // plural.
  const std::string language = localeLanguage(locale);
  bool sing = count == 1;
  if (language == "fr" || locale == "pt" || locale == "pt_BR") {
    sing = count < 2;
  } else if (language == "ja" || language == "vi" || language == "ko" || language == "zh") {
    sing = false;
  }
  return sing ? "sing" : "many";
}

const char* tryTranslatePlural(Localize& localize, const char* key, std::int64_t count) {
  const plat::Lock lock(localize.lock());
  TransMap& map = currentMap();
  for (const std::string& locale : map.locales()) {
    const Localize::Table* table = localize.table(locale);
    if (!table) {
      table = localize.table(localeLanguage(locale));
    }
    if (!table) {
      continue;
    }
    const std::string form = std::string(key) + "_" + pluralForm(locale, count);
    const auto found = table->find(form);
    if (found == table->end()) {
      continue;
    }
    if (Translation* inMap = map.find(form)) {
      inMap->use(true);  // the map's text may be another locale's, but no form may be used both ways
    }
    return found->second;
  }
  return nullptr;
}

}  // namespace

const char* tryTranslate(const char* key, bool raw) {
  const plat::Lock lock(Localize::instance().lock());
  Translation* found = currentMap().find(key);
  return found ? found->use(raw) : nullptr;
}

const char* translate(const char* key, const char* file, int line, bool raw) {
  if (const char* text = tryTranslate(key, raw)) {
    return text;
  }
  reportMissing("translation", key, file, line);
  return key;
}

const char* translatePlural(Localize& localize, const char* key, std::int64_t count, const char* file, int line) {
  if (const char* text = tryTranslatePlural(localize, key, count)) {
    return text;
  }
  reportMissing("plural translation", key, file, line);
  return key;
}

}  // namespace loc
