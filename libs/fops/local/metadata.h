#pragma once

#include <cstddef>
#include <vector>

#include "libs/fops/DirEntry.h"

// What the disk says about files and directories. Links are followed throughout. All of it blocks while it runs; it
// holds no state and belongs on the loop's thread. Failures that a listing passes over are logged at debug on
// "getDirEntry".
// Road: LocalDirActions and LocalFileServer call these with local paths; they call os::DirEnum and, by StatResult,
// stat(2).

namespace fops {

/// Describes one file or directory. A directory is also searched for a first subdirectory.
/// @param path absolute local path; anything else is FATAL.
/// @param name the entry's name; null for the last element of `path`.
/// @throws BadPath for a name that no path could hold; plat::SystemException "stat(%s)"; SpecialFileException.
DirEntry getDirEntry(const char* path, const char* name);

/// Describes what `fd` is open on, as getDirEntry() does for the path that it was opened by and that gives the name.
/// @throws as getDirEntry()
DirEntry getOpenEntry(int fd, const char* path);

/// Lists a directory in the order of the file system. Left out are special files, and with a line at debug what cannot
/// be described: dangling links, names that are not UTF-8.
/// @param local absolute local path.
/// @throws plat::SystemException if the directory cannot be opened or read to its end.
std::vector<DirEntry> scanDir(const char* local, bool includeDirs, bool includeFiles);

/// Lists that grew to this many entries took megabytes (some 200 bytes each with the reply's copy), which the allocator
/// keeps in its pools when they go; below it a system call would cost more than the memory is worth.
inline constexpr std::size_t BigListEntries = 8192;

/// Ends a list: frees it and, if it was big, gives the memory back to the system, since the process lives on for long.
void releaseList(std::vector<DirEntry>& list) noexcept;

}  // namespace fops
