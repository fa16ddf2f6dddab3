#pragma once

#include "base/plat/String.h"

/// Who this program is: a handful of process-wide names, set once at start-up on the main thread and read by anybody.
///
/// Every getter takes `emptyIfUnset`: with it an unset value reads as "", without it that is a fatal assertion.
namespace os::AppInfo {

/// The application's name. Set once; must not be null.
void setApp(const char* app);
const char* app(bool emptyIfUnset = false);

/// The maker's name.
void setCompany(const char* company);
const char* company(bool emptyIfUnset = false);

/// The folder name that the product uses below system directories.
void setPathComp(const char* pathComp);
const char* pathComp(bool emptyIfUnset = false);

/// The name of a group of applications; must not be null when set.
void setGroup(const char* group);
const char* group(bool emptyIfUnset = false);

/// The translation key of the name for display, or null.
void setDisplayKey(const char* key);

/// A fixed name for display, or null. Clears the key.
void setDisplayName(const char* name);

/// The translation of the display key, else the fixed name, else app().
plat::String getDisplayName();

/// The same without any registered-trademark sign.
plat::String getPlainDisplayName();

}  // namespace os::AppInfo
