#include "base/loc/LocaleSetter.h"

#include <vector>

#include "base/loc/Localize.h"
#include "base/loc/TransMap.h"
#include "base/loc/localeLog.h"
#include "base/loc/localeName.h"
#include "base/plat/Lock.h"
#include "base/plat/assert.h"
#include "base/plat/log/LogSrc.h"

namespace loc {

namespace {
thread_local LocaleSetter* threadSetter = nullptr;
}

LocaleSetter::LocaleSetter(const char* localeList) : requested_(localeList ? localeList : ""), previous_(threadSetter) {
  if (requested_.empty()) {
    locale_ = previous_ ? previous_->locale_ : processOsLocale();
  } else {
    localeLog().verbose("setting locale %s", requested_.c_str());
    const std::vector<std::string> locales = parseLocaleList(requested_.c_str());
    locale_ = chooseOsLocale(locales);
    transMap_ = std::make_unique<TransMap>(TransMap::ForThread());
    const plat::Lock lock(Localize::instance().lock());
    transMap_->update(locales);
  }
  threadSetter = this;
  if (const locale_t object = osLocaleObject(locale_.name)) {
    cLocale_ = uselocale(object);
  }
}

LocaleSetter::~LocaleSetter() {
  PLAT_ASSERT_AS(threadSetter == this, "thrInst == this", "base/loc/LocaleSetter", __LINE__);
  threadSetter = previous_;
  if (!requested_.empty()) {
    localeLog().verbose("restoring locale");
  }
  if (cLocale_) {
    uselocale(cLocale_);
  }
}

const LocaleSetter* LocaleSetter::current() noexcept {
  return threadSetter;
}

std::string getLocaleList() {
  for (const LocaleSetter* setter = threadSetter; setter; setter = setter->previous_) {
    if (!setter->requested_.empty()) {
      return setter->requested_;
    }
  }
  return joinLocaleList(Localize::instance().locales());
}

}  // namespace loc
