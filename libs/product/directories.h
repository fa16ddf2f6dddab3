#pragma once

#include "base/plat/String.h"

namespace qzutil {

/// The product's directories, worked out once at start-up from HOME and the environment; read-only afterwards.
struct Directories {
  plat::String machine;         ///< "/etc/kel"
  plat::String user;            ///< "$HOME/.kel"
  plat::String profile;         ///< the user directory, or the profile below it that KEL_PROFILE names
  plat::String configProfile;   ///< the profile directory, or the profile that KEL_CONFIG_PROFILE names
  plat::String userConfigDir;   ///< "config.d" of configProfile
  plat::String userConfigFile;  ///< the file named after the application in userConfigDir
  plat::String program;         ///< where the program's file lies
};

/// The directories in force. All null before start-up.
const Directories& directories() noexcept;

/// Works all directories out but creates none.
/// @param app the application's name.
/// @param programDir the folder of the program's file.
/// @throws plat::Exception if HOME is not set.
void setDirectories(const char* app, const char* programDir);

/// Creates the user's directories, private to the user, and tightens the mode of those that are there.
/// @throws plat::SystemException if one cannot be created.
void createUserDirectories();

}  // namespace qzutil
