#pragma once

#include <vector>

#include "base/plat/String.h"

namespace plat {

/// Making, removing and searching folders, and the rule by which new names are chosen. Nothing here guards against
/// another process acting on the same names between two steps. To visit a tree see base/os/unix/treeWalk.h.

/// Makes a folder, mode 0700 or 0777 before the umask. @return false if the path is a folder already.
/// @param fixExisting with `isPrivate`, an existing folder is made private as by fileMakePrivate.
/// @throws SystemException "mkDir(%s)"; what fileMakePrivate throws
bool mkDir(const char* path, bool isPrivate, bool fixExisting);

/// The same with any missing folders above, which get the same mode; `fixExisting` is for the last one only.
/// @throws SystemException "mkDir(%s)" with the path of the one that failed
bool mkDirs(const char* path, bool isPrivate, bool fixExisting);

/// Makes a folder with owner, group and permissions of the folder above it, less group and other permissions if
/// `isPrivate`, less write permission for them if not. @return false, with nothing changed, if it is there already.
/// @throws SystemException "mkDir(%s)", "mkDirMatchParent/stat", "mkDirMatchParent/chown", "mkDirMatchParent/chmod"
bool mkDirMatchParent(const char* path, bool isPrivate);

/// Removes a folder. With `recursive`, first everything below it as far as possible; links are removed, not followed,
/// except that `path` itself may be one: then the folder that it points to is emptied, and the call fails. The tree may
/// be as deep as paths are long. Whether something below could not be removed shows only in the outcome for `path`.
/// @throws SystemException "rmDir(%s)", from the removal of `path` itself
void rmDir(const char* path, bool recursive);

/// A path in `dir` that nothing has: "dir/name", or with a number before the extension, "dir/base(1).ext". In the name,
/// "/", control bytes and byte 127 become "-". The extension begins at the last dot, be it the first character.
/// @param open,close what stands around the number. @param limit the highest number; negative for no try at all.
/// @throws SystemException "fileExists(%s)" if the system cannot tell
/// @throws Exception "Too many files with same name"
String fileMakeUnique(const char* dir, const char* name, const char* open, const char* close, int limit);

/// The name that everything gets which finds its own taken: fileMakeUnique with "(1)" to "(99)".
String fileFreeName(const char* dir, const char* name);

/// The first of "dir/name" that exists, in the order of `dirs`; else null.
String fileSearchPath(const std::vector<String>& dirs, const char* name);

/// The first path below `dir` whose last element is `name`, a folder's contents going before the folder itself; else
/// null. Links to folders are followed. A folder that cannot be read holds nothing.
String fileFindInTree(const char* dir, const char* name);

}  // namespace plat
