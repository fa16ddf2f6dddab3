#include "base/loc/translate.h"

#include "base/loc/Localize.h"
#include "base/loc/TransMap.h"
#include "base/loc/localeLog.h"
#include "base/plat/Lock.h"
#include "base/plat/LogSrc.h"

namespace loc {

namespace {

Translation* find(const char* key) {
  TransMap& map = TransMap::current();
  if (map.locales().empty()) {
    map.update({});  // before start-up has fixed a locale, English serves
  }
  return map.find(key);
}

}  // namespace

const char* tryTranslate(const char* key, bool raw) {
  const plat::Lock lock(Localize::instance().lock());
  Translation* found = find(key);
  return found ? found->use(raw) : nullptr;
}

const char* translate(const char* key, const char* file, int line, bool raw) {
  if (const char* text = tryTranslate(key, raw)) {
    return text;
  }
  if (file) {
    localeLog().error("Missing translation for \"%s\" (%s:%d)", key, file, line);
  } else {
    localeLog().error("Missing translation for \"%s\"", key);
  }
  return key;
}

}  // namespace loc
