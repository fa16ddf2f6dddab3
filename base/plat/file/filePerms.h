#pragma once

#include <cstdio>
#include <set>

#include <sys/types.h>

namespace plat {

/// Owners and permission bits. Failures are SystemException with the words in double quotes.

/// Gives the file to the effective user, keeping its group, and takes all permissions from group and others. Each step
/// only if needed. Acts on `fd`, or on `path` if `fd` is negative.
/// @throws SystemException "fileMakePrivate/fstat", "fileMakePrivate/fchown", "fileMakePrivate/fchmod", or by path
///         "fileMakePrivate/stat(%s)", "fileMakePrivate/chown(%s)", "fileMakePrivate/chmod(%s)"
void fileMakePrivate(int fd, const char* path);
void fileMakePrivate(const char* path);
/// By the stream's descriptor, or by `path` if `stream` is null.
void fileMakePrivate(std::FILE* stream, const char* path);

/// Gives the open file the permissions of `path`. @return false if `path` leads nowhere.
/// @throws SystemException "fileCopyPerms/stat(%s)", "fileCopyPerms/fchmod"
bool fileCopyPerms(const char* path, int fd);
bool fileCopyPerms(const char* path, std::FILE* stream);

/// Sets the sticky bit. @throws SystemException "fileMakeSticky/stat(%s)", "fileMakeSticky/chmod(%s)"
void fileMakeSticky(const char* path);

/// Passes if only trusted users can have put something there: the owner of what `path` leads to, and of a link at
/// `path`, is one of them, and neither group nor others may write.
/// @throws SystemException "stat(%s)", "lstat(%s)"
/// @throws Exception "%s: permissions are not restrictive enough"
void filePermsCheck(const char* path, const std::set<uid_t>& trustedOwners);

/// The same for an absolute path and every folder above it, from "/" down.
void filePathPermsCheck(const char* path, const std::set<uid_t>& trustedOwners);

}  // namespace plat
