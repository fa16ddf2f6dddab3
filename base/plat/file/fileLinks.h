#pragma once

#include "base/plat/String.h"

namespace plat {

/// Symbolic links resolved, all the way to the real file.

/// Resolves every link on an absolute path (fatal assertion). Up to 20 links may follow from each other; a target's
/// ".." are worked out by its letters.
/// @param reported the path that failure texts name. @param depth links followed so far.
/// @throws SystemException "realpath(%s)": ELOOP beyond 20 links, EIO for a target above 4095 bytes, ENOTDIR and
///         whatever else the system says
String fileRealPath(const char* reported, const char* path, int depth = 0);

/// The real path of `path`; a relative one counts from the working folder.
/// @throws SystemException "realpath(%s)", "getcwd"
String fileAbsPath(const char* path);

/// The real path of a folder whose every part belongs to root and is writable by nobody else. `path` is absolute (fatal
/// assertion). @param link if not null, where `path` ought to point; only for the text when it does not exist.
/// @throws Exception "%s must be created and point to %s"; what fileAbsPath and filePathPermsCheck throw
String fileMakeSecureDir(const char* path, const char* link);

}  // namespace plat
