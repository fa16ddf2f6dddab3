#include "base/loc/TransMap.h"

#include <utility>

#include "base/loc/Localize.h"
#include "base/loc/localeLog.h"
#include "base/loc/localeName.h"
#include "base/plat/assert.h"
#include "base/plat/log/LogSrc.h"

namespace loc {

namespace {
thread_local TransMap* threadMap = nullptr;
}

TransMap& TransMap::process() {
  static plat::NeverDestroyed<TransMap> instance;  // texts may be asked for until the very end
  return *instance;
}

TransMap& TransMap::current() {
  return threadMap ? *threadMap : process();
}

TransMap::TransMap(ForThread) : previous_(threadMap), isThreads_(true) {
  threadMap = this;
}

TransMap::~TransMap() {
  if (isThreads_) {
    PLAT_ASSERT_AS(threadMap == this, "thrInst == this", "base/loc/TransMap", __LINE__);
    threadMap = previous_;
  }
}

void TransMap::update(const std::vector<std::string>& locales) {
  std::vector<std::string> expanded = expandLocaleList(locales);
  const bool loaded = Localize::instance().load(expanded);
  if (!loaded && expanded == locales_) {
    return;
  }
  locales_ = std::move(expanded);
  translations_.clear();
  localeLog().verbose("Updating %s TransMap with locales:", isThreads_ ? "thread" : "process");
  for (const std::string& locale : locales_) {
    localeLog().verbose(" %s", locale.c_str());
  }
  for (const std::string& locale : locales_) {
    if (const auto* table = Localize::instance().table(locale)) {
      for (const auto& [key, text] : *table) {
        // Not over what is there: the locales come best first.
        translations_.try_emplace(key, text);
      }
    }
  }
}

Translation* TransMap::find(std::string_view key) {
  const auto found = translations_.find(key);
  return found == translations_.end() ? nullptr : &found->second;
}

}  // namespace loc
