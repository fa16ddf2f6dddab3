#include "base/plat/file/filePerms.h"

#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/exceptions.h"

namespace plat {

namespace {

constexpr mode_t GroupAndOthers = 077;
/// What stays: the owner's permissions, and the set-id and sticky bits.
constexpr mode_t PrivateMask = 07700;

/// The group stays as it is.
constexpr gid_t SameGroup = static_cast<gid_t>(-1);

/// The owner first: from there on the old owner cannot widen again what the second step has narrowed. By descriptor
/// both steps act on the file that was looked at, even if another one has taken its name meanwhile.
void makePrivateFd(int fd) {
  struct stat info;
  if (::fstat(fd, &info) != 0) {
    throw SystemException("fileMakePrivate/fstat", errno);
  }
  if (info.st_uid != ::geteuid() && ::fchown(fd, ::geteuid(), SameGroup) != 0) {
    throw SystemException("fileMakePrivate/fchown", errno);
  }
  if ((info.st_mode & GroupAndOthers) != 0 && ::fchmod(fd, info.st_mode & PrivateMask) != 0) {
    throw SystemException("fileMakePrivate/fchmod", errno);
  }
}

}  // namespace

void fileMakePrivate(int fd, const char* path) {
  if (fd >= 0) {
    makePrivateFd(fd);
    return;
  }
  struct stat info;
  if (::stat(path, &info) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/stat(%s)", errno, path);
  }
  if (info.st_uid != ::geteuid() && ::chown(path, ::geteuid(), SameGroup) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/chown(%s)", errno, path);
  }
  if ((info.st_mode & GroupAndOthers) != 0 && ::chmod(path, info.st_mode & PrivateMask) != 0) {
    throw SystemExceptionFmt("fileMakePrivate/chmod(%s)", errno, path);
  }
}

void fileMakePrivate(const char* path) {
  fileMakePrivate(-1, path);
}

void fileMakePrivate(std::FILE* stream, const char* path) {
  fileMakePrivate(stream != nullptr ? ::fileno(stream) : -1, path);
}

bool fileCopyPerms(const char* path, int fd) {
  struct stat info;
  if (::stat(path, &info) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) {
      return false;
    }
    throw SystemExceptionFmt("fileCopyPerms/stat(%s)", errno, path);
  }
  // The file's type stands in the same field and is no permission.
  if (::fchmod(fd, info.st_mode & 07777) != 0) {
    throw SystemException("fileCopyPerms/fchmod", errno);
  }
  return true;
}

bool fileCopyPerms(const char* path, std::FILE* stream) {
  return fileCopyPerms(path, ::fileno(stream));
}

void fileMakeSticky(const char* path) {
  struct stat info;
  if (::stat(path, &info) != 0) {
    throw SystemExceptionFmt("fileMakeSticky/stat(%s)", errno, path);
  }
  if ((info.st_mode & S_ISVTX) == 0 && ::chmod(path, (info.st_mode & 07777) | S_ISVTX) != 0) {
    throw SystemExceptionFmt("fileMakeSticky/chmod(%s)", errno, path);
  }
}

/// The mode is that of the target: a link's own says nothing, the system does not look at it.
void filePermsCheck(const char* path, const std::set<uid_t>& trustedOwners) {
  struct stat target;
  if (::stat(path, &target) != 0) {
    throw SystemExceptionFmt("stat(%s)", errno, path);
  }
  // A link counts by its own owner too, who decides where it leads.
  struct stat self;
  if (::lstat(path, &self) != 0) {
    throw SystemExceptionFmt("lstat(%s)", errno, path);
  }
  if (!trustedOwners.contains(target.st_uid) || !trustedOwners.contains(self.st_uid) ||
      (target.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    throw Exception(Formatted, "%s: permissions are not restrictive enough", path);
  }
}

/// Links on the way are followed, but the folders above their targets are not looked at: a path that is to be trusted
/// goes through fileAbsPath first.
void filePathPermsCheck(const char* path, const std::set<uid_t>& trustedOwners) {
  PLAT_ASSERT_AS(path != nullptr && path[0] == '/', "path[0] == '/'", "base/plat/file", __LINE__);
  // From the top: whoever may write to a folder can put another one in the place of all that lies below it.
  filePermsCheck("/", trustedOwners);
  const std::string full(path);
  for (std::size_t slash = full.find('/', 1); slash != std::string::npos; slash = full.find('/', slash + 1)) {
    filePermsCheck(full.substr(0, slash).c_str(), trustedOwners);
  }
  filePermsCheck(path, trustedOwners);
}

}  // namespace plat
