#pragma once

#include "base/plat/String.h"

namespace os {

/// Where this program is, and where others are.

/// The running program's file, absolute and free of links. @throws plat::SystemException if the system won't tell
const plat::String& programPath();
/// Its folder.
plat::String programDir();
/// A file beside it that is named after the application.
plat::String programDirFile();

/// An executable regular file, made absolute; null if there is none.
/// @param name with a slash: that file. Without: looked for in `PATH`, but only with `searchPath`; the first thing of
///        that name decides, be it executable or not. Null gives null.
/// @throws plat::Exception "PATH contains invalid '~' character"
plat::String findExecutable(const char* name, bool searchPath);

/// A program of ours or of the system: a relative name is looked for beside this program first. Null stands for this
/// program.
/// @throws plat::SystemException "%s does not exist or is not executable" with ENOENT, if `throwIfMissing`
plat::String findProgram(const char* name, bool throwIfMissing, bool searchPath);

}  // namespace os
