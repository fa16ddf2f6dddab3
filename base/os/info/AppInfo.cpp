#include "base/os/info/AppInfo.h"

#include "base/loc/translate.h"
#include "base/plat/DString.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/assert.h"

namespace os::AppInfo {

namespace {

/// Null means unset, which is not the same as a name that was set to nothing.
struct Names {
  plat::String app;
  plat::String company;
  plat::String pathComp;
  plat::String group;
  plat::String displayKey;
  plat::String displayName;
};

Names& names() {
  static plat::NeverDestroyed<Names> instance;  // read by the log until the very end
  return *instance;
}

constexpr char Source[] = "base/os/AppInfo";

}  // namespace

void setApp(const char* a) {
  PLAT_ASSERT_AS(a, "a", Source, __LINE__);
  names().app = a;
}

// An unset name is fatal rather than empty: paths are made of these, and without a part they would be others.
const char* app(bool emptyIfUnset) {
  const plat::String& app = names().app;
  PLAT_ASSERT_AS(emptyIfUnset || app.get(), "emptyIfUnset || app", Source, __LINE__);
  return app.orEmpty();
}

void setCompany(const char* company) {
  names().company = company;
}

const char* company(bool emptyIfUnset) {
  const plat::String& company = names().company;
  PLAT_ASSERT_AS(emptyIfUnset || company.get(), "emptyIfUnset || company", Source, __LINE__);
  return company.orEmpty();
}

void setPathComp(const char* pathComp) {
  names().pathComp = pathComp;
}

const char* pathComp(bool emptyIfUnset) {
  const plat::String& pathComp = names().pathComp;
  PLAT_ASSERT_AS(emptyIfUnset || pathComp.get(), "emptyIfUnset || pathComp", Source, __LINE__);
  return pathComp.orEmpty();
}

void setGroup(const char* g) {
  PLAT_ASSERT_AS(g, "g", Source, __LINE__);
  names().group = g;
}

const char* group(bool emptyIfUnset) {
  const plat::String& group = names().group;
  PLAT_ASSERT_AS(emptyIfUnset || group.get(), "emptyIfUnset || group", Source, __LINE__);
  return group.orEmpty();
}

void setDisplayKey(const char* key) {
  names().displayKey = key;
}

void setDisplayName(const char* name) {
  names().displayName = name;
  // A key would go before the name.
  names().displayKey = nullptr;
}

plat::String getDisplayName() {
  if (names().displayKey.get()) {
    return LOC_TR_AS(names().displayKey.get(), "base/os/AppInfo.cpp");
  }
  return names().displayName.get() ? names().displayName : plat::String(app());
}

plat::String getPlainDisplayName() {
  plat::DString plain(getDisplayName().get());
  plain.replaceAll("®", nullptr);
  return plain.takeString();
}

}  // namespace os::AppInfo
