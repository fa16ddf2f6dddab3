#pragma once

#include "base/plat/String.h"

namespace os {

/// The folders of the user who runs the process, by the environment and the desktop's settings. Each answer is an
/// existing folder.

/// The environment's `HOME`. @throws plat::Exception "HOME dir not found"
plat::String getHomeDir();

/// A folder in HOME. @throws plat::Exception "HOME dir not found", "Subdir of HOME not found"
plat::String getHomeSubDir(const char* name);

/// What "$HOME/.config/user-dirs.dirs" (xdg-user-dirs) assigns to `key`, for example "XDG_DESKTOP_DIR". Assignments
/// that are malformed, not UTF-8 or lead to no folder are passed over.
/// @throws plat::Exception if the file cannot be opened or has no usable assignment
plat::String getXdgUserDir(const char* key);

/// The desktop's setting, or the usual folder in HOME, or one that holds it: in the end HOME itself.
/// @throws plat::Exception "HOME dir not found"
plat::String getDesktopDir();
plat::String getDocumentsDir();
plat::String getDownloadsDir();
plat::String getVideosDir();

}  // namespace os
