#include "libs/product/productInit.h"

#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

#include "base/loc/Localize.h"
#include "base/os/info/AppInfo.h"
#include "base/os/info/programPath.h"
#include "base/plat/Exception.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/logging/LogDestFileMgr.h"
#include "base/plat/logging/logging.h"
#include "libs/product/ConfigStoreFile.h"
#include "libs/product/VersionInfoUpdater.h"
#include "libs/product/directories.h"

namespace plat {

namespace {

void setAppInfo(const char* argv0, const char* appName, const char* displayKey) {
  os::AppInfo::setApp(appName ? appName : argv0);
  os::AppInfo::setCompany("Quenlar");
  os::AppInfo::setPathComp("kel");
  os::AppInfo::setDisplayName(nullptr);
  os::AppInfo::setDisplayKey(displayKey);
}

String findProgramPath() {
  try {
    return os::programPath();
  } catch (const Exception&) {
    throw Exception("Error: could not find program executable");
  }
}

/// The password database, and not the caller's environment, says where root's home is: a helper started by a
/// privileged server must not write where somebody else's environment points.
void fixHome() {
  if (std::getenv("HOME") && geteuid() != 0) {
    return;
  }
  if (const passwd* account = getpwuid(geteuid())) {
    setenv("HOME", account->pw_dir, 1);
  }
}

void setLocaleDirs() {
  const qzutil::Directories& dirs = qzutil::directories();
  loc::Localize::instance().setSearchDirs(
      {dirs.user.get(), dirs.machine.get(), fileJoin(dirs.program.get(), os::AppInfo::pathComp()).get()});
}

}  // namespace

void productInit(const char* argv0, const char* appName, const char* displayKey, const char* defaultLog,
                 bool enableFileLog, bool loadConfig) {
  setAppInfo(argv0, appName, displayKey);
  // Without folders yet, so that the system's locale is in force, and `Locale` is listened to, before anything can
  // fail.
  loc::Localize::instance().setSearchDirs({});
  const String programPath = findProgramPath();
  if (!appName) {
    os::AppInfo::setApp(fileBaseName(programPath.get(), ".exe").get());
  }
  // Ahead of all that is worked out from HOME.
  fixHome();
  qzutil::setDirectories(os::AppInfo::app(), fileDirName(programPath.get()).get());
  // For texts with a "$" in settings, such as that of LogDir, and for programs that are launched from here.
  setenv("KEL_PROFILE_DIR", qzutil::directories().profile.get(), 1);
  qzutil::createUserDirectories();
  setLocaleDirs();
  static NeverDestroyed<qzutil::VersionInfoUpdater> updater;  // the texts follow the locale until exit
  logInit(defaultLog, nullptr, nullptr, false);
  // Programs that link to the maker's pages have this parameter; here the call has no effect.
  Configuration::global().set("_ProductUri", "https://www.quenlar.example/", 0);
  if (loadConfig) {
    qzutil::ConfigStoreFile().loadAll(true, nullptr);
  }
  // Behind the configuration, which may say where the file lies.
  if (enableFileLog) {
    LogDestFileMgr::instance().setEnabled(true);
  }
}

}  // namespace plat
