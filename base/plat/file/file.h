#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <sys/types.h>

#include "base/plat/String.h"
#include "base/plat/Time.h"

namespace plat {

/// Single files and descriptors: mostly one system call each, with one way of failing whose text is told here, since
/// it travels on to logs and to peers. Path texts: filePaths.h; folders: fileTree.h; permissions: filePerms.h; links:
/// fileLinks.h.
///
/// Paths are byte strings and never null. Failures are SystemException, with the words in double quotes in front of
/// the system's own. The NoThrow forms answer false, -1 or null and leave `errno` as the system set it. Any thread.

/// @throws SystemException "chDir(%s)"
void chDir(const char* path);
bool chDirNoThrow(const char* path) noexcept;

/// @throws SystemException "getcwd"
String getWorkingDir();

/// True if `path` leads to a folder, through links too; false also on any failure. Always a real `stat`.
bool fileIsDir(const char* path) noexcept;

/// True if `path` leads to something, false if it does not (ENOENT, ENOTDIR; a dangling link too).
/// @throws SystemException "fileExists(%s)" if the system cannot tell.
bool fileExists(const char* path);
bool fileExistsNoThrow(const char* path) noexcept;

/// Bytes. @throws SystemException "fileGetSize(%s)"
std::int64_t fileGetSize(const char* path);

/// Time of the last modification, whole seconds. @throws SystemException "fileGetTime(%s)"
FileTime fileGetTime(const char* path);

/// Sets both times, to the microsecond. @param access 0 for the same as `modify`.
/// @throws SystemException "fileSetTime(%s)"
void fileSetTime(const char* path, FileTime modify, FileTime access = 0);

/// A descriptor, close-on-exec from birth; the caller closes it.
/// @param flags,permission as for open(2). @throws SystemException "fileOpenFd(%s)"
int fileOpenFd(const char* path, int flags, mode_t permission = 0);
int fileOpenFdNoThrow(const char* path, int flags, mode_t permission = 0) noexcept;

/// A stdio stream on such a descriptor, with the mode text of fdopen(3). Null on failure, `errno` telling why.
std::FILE* fileOpenStream(const char* path, int flags, const char* mode, mode_t permission = 0) noexcept;

/// Removes a file or an empty folder. @throws SystemException "fileRemove(%s)"
void fileRemove(const char* path);
bool fileRemoveNoThrow(const char* path) noexcept;

/// Replaces what is at `to`, as rename(2) does. @throws SystemException "fileRename(%s,%s)"
void fileRename(const char* from, const char* to);
bool fileRenameNoThrow(const char* from, const char* to) noexcept;

/// Cuts or extends to `length` bytes. Does not flush the stream. @throws SystemException "fileTruncate()"
void fileTruncate(std::FILE* stream, std::int64_t length);

/// Length of the file in bytes; the position stays. @throws SystemException "fileTell", "fileSeek"
std::int64_t fileGetLength(std::FILE* stream);

/// @throws SystemException "fileTell"
std::int64_t fileGetPosition(std::FILE* stream);
std::int64_t fileGetPositionNoThrow(std::FILE* stream) noexcept;

/// @param origin SEEK_SET, SEEK_CUR or SEEK_END. @throws SystemException "fileSeek"
void fileSeek(std::FILE* stream, std::int64_t offset, int origin);
bool fileSeekNoThrow(std::FILE* stream, std::int64_t offset, int origin) noexcept;

/// Takes the write lock on the whole file. It belongs to the process, so it does not exclude its own streams, and goes
/// when the process closes any descriptor of the file.
/// @param wait waits for other processes, through signals; else a lock held by another answers false.
/// @throws SystemException "fileLock"
bool fileLock(std::FILE* stream, bool wait);
/// @throws SystemException "fileUnlock"
void fileUnlock(std::FILE* stream);

/// True if the descriptor is open on what `path` leads to; false if `path` leads nowhere.
/// @throws SystemException "fileIsSameAsFd/fstat", "fileIsSameAsFd/stat(%s)"
bool fileIsSameAsFd(int fd, const char* path);

}  // namespace plat
