#include "libs/product/directories.h"

#include <cstdlib>

#include "base/plat/NeverDestroyed.h"
#include "base/plat/expandVars.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/fileTree.h"

namespace qzutil {

namespace {

Directories& current() noexcept {
  static plat::NeverDestroyed<Directories> instance;
  return *instance;
}

/// The directory that the environment variable chooses among the user's profiles, or `fallback`.
plat::String profileDirectory(const char* variable, const plat::String& user, const plat::String& fallback) {
  const char* name = std::getenv(variable);
  if (!name || !*name) {
    return fallback;
  }
  // A name with a slash would lead out of the folder of profiles.
  return plat::fileJoin(plat::fileJoin(user.get(), "profiles").get(), plat::fileSanitiseName(name, '-').get());
}

}  // namespace

const Directories& directories() noexcept {
  return current();
}

void setDirectories(const char* app, const char* programDir) {
  Directories& dirs = current();
  dirs.machine = "/etc/kel";
  dirs.user = plat::expandVars("$HOME/.kel", nullptr, true, true);
  dirs.profile = profileDirectory("KEL_PROFILE", dirs.user, dirs.user);
  dirs.configProfile = profileDirectory("KEL_CONFIG_PROFILE", dirs.user, dirs.profile);
  dirs.userConfigDir = plat::fileJoin(dirs.configProfile.get(), "config.d");
  dirs.userConfigFile = plat::fileJoin(dirs.userConfigDir.get(), app);
  dirs.program = programDir;
}

void createUserDirectories() {
  const Directories& dirs = current();
  plat::mkDir(dirs.user.get(), true, true);
  if (dirs.profile != dirs.user) {
    plat::mkDirs(dirs.profile.get(), true, true);
  }
  plat::mkDirs(dirs.userConfigDir.get(), true, true);
}

}  // namespace qzutil
