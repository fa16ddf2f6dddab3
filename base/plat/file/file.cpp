#include "base/plat/file/file.h"

#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include "base/os/unix/UniqueFd.h"
#include "base/plat/exceptions.h"

namespace plat {

namespace {

/// ENOTDIR says the same as ENOENT: an element on the way is a file, so nothing can be below it.
bool leadsNowhere(int error) noexcept {
  return error == ENOENT || error == ENOTDIR;
}

/// Everything up to the end of the file, wherever that is.
struct flock wholeFile(short type) noexcept {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

timeval toTimeval(FileTime time) noexcept {
  std::int64_t seconds = 0;
  std::int64_t microseconds = 0;
  fileTimeToUnix(time, seconds, microseconds);
  return {static_cast<time_t>(seconds), static_cast<suseconds_t>(microseconds)};
}

}  // namespace

void chDir(const char* path) {
  if (!chDirNoThrow(path)) {
    throw SystemExceptionFmt("chDir(%s)", errno, path);
  }
}

bool chDirNoThrow(const char* path) noexcept {
  return ::chdir(path) == 0;
}

/// Without a limit: PATH_MAX bounds what may go into a call, but a working folder can lie deeper.
String getWorkingDir() {
  for (std::size_t size = 1024;; size *= 2) {
    const auto buffer = std::make_unique<char[]>(size);
    if (::getcwd(buffer.get(), size) != nullptr) {
      return String(buffer.get());
    }
    if (errno != ERANGE) {
      throw SystemException("getcwd", errno);
    }
  }
}

bool fileIsDir(const char* path) noexcept {
  struct stat info;
  return ::stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

bool fileExists(const char* path) {
  if (fileExistsNoThrow(path)) {
    return true;
  }
  if (!leadsNowhere(errno)) {
    throw SystemExceptionFmt("fileExists(%s)", errno, path);
  }
  return false;
}

bool fileExistsNoThrow(const char* path) noexcept {
  struct stat info;
  return ::stat(path, &info) == 0;
}

std::int64_t fileGetSize(const char* path) {
  struct stat info;
  if (::stat(path, &info) != 0) {
    throw SystemExceptionFmt("fileGetSize(%s)", errno, path);
  }
  return info.st_size;
}

FileTime fileGetTime(const char* path) {
  struct stat info;
  if (::stat(path, &info) != 0) {
    throw SystemExceptionFmt("fileGetTime(%s)", errno, path);
  }
  return fileTimeFromUnix(info.st_mtime);
}

void fileSetTime(const char* path, FileTime modify, FileTime access) {
  // utimes(2) wants the access time first.
  const timeval times[2] = {toTimeval(access != 0 ? access : modify), toTimeval(modify)};
  if (::utimes(path, times) != 0) {
    throw SystemExceptionFmt("fileSetTime(%s)", errno, path);
  }
}

int fileOpenFd(const char* path, int flags, mode_t permission) {
  const int fd = fileOpenFdNoThrow(path, flags, permission);
  if (fd < 0) {
    throw SystemExceptionFmt("fileOpenFd(%s)", errno, path);
  }
  return fd;
}

int fileOpenFdNoThrow(const char* path, int flags, mode_t permission) noexcept {
  return ::open(path, flags | O_CLOEXEC, permission);
}

std::FILE* fileOpenStream(const char* path, int flags, const char* mode, mode_t permission) noexcept {
  // It closes without touching errno, which then tells what fdopen(3) has to say.
  os::UniqueFd fd(fileOpenFdNoThrow(path, flags, permission));
  std::FILE* const stream = fd ? ::fdopen(fd.get(), mode) : nullptr;
  if (stream != nullptr) {
    fd.release();
  }
  return stream;
}

void fileRemove(const char* path) {
  if (!fileRemoveNoThrow(path)) {
    throw SystemExceptionFmt("fileRemove(%s)", errno, path);
  }
}

bool fileRemoveNoThrow(const char* path) noexcept {
  return std::remove(path) == 0;
}

void fileRename(const char* from, const char* to) {
  if (!fileRenameNoThrow(from, to)) {
    throw SystemExceptionFmt("fileRename(%s,%s)", errno, from, to);
  }
}

bool fileRenameNoThrow(const char* from, const char* to) noexcept {
  return std::rename(from, to) == 0;
}

void fileTruncate(std::FILE* stream, std::int64_t length) {
  while (::ftruncate(::fileno(stream), length) != 0) {
    if (errno != EINTR) {
      throw SystemException("fileTruncate()", errno);
    }
  }
}

/// Not by fstat(2), which knows nothing of what the stream still has in its buffer; seeking writes that out.
std::int64_t fileGetLength(std::FILE* stream) {
  const std::int64_t position = fileGetPosition(stream);
  fileSeek(stream, 0, SEEK_END);
  const std::int64_t end = fileGetPosition(stream);
  fileSeek(stream, position, SEEK_SET);
  return end;
}

std::int64_t fileGetPosition(std::FILE* stream) {
  const std::int64_t position = fileGetPositionNoThrow(stream);
  if (position < 0) {
    throw SystemException("fileTell", errno);
  }
  return position;
}

std::int64_t fileGetPositionNoThrow(std::FILE* stream) noexcept {
  return ::ftello(stream);
}

void fileSeek(std::FILE* stream, std::int64_t offset, int origin) {
  if (!fileSeekNoThrow(stream, offset, origin)) {
    throw SystemException("fileSeek", errno);
  }
}

bool fileSeekNoThrow(std::FILE* stream, std::int64_t offset, int origin) noexcept {
  return ::fseeko(stream, offset, origin) == 0;
}

bool fileLock(std::FILE* stream, bool wait) {
  struct flock lock = wholeFile(F_WRLCK);
  // A signal ends the waiting, not the wish for the lock.
  while (::fcntl(::fileno(stream), wait ? F_SETLKW : F_SETLK, &lock) != 0) {
    // POSIX leaves it to the system which of the two says that another process has the lock.
    if (errno == EAGAIN || errno == EACCES) {
      return false;
    }
    if (!wait || errno != EINTR) {
      throw SystemException("fileLock", errno);
    }
  }
  return true;
}

void fileUnlock(std::FILE* stream) {
  struct flock lock = wholeFile(F_UNLCK);
  if (::fcntl(::fileno(stream), F_SETLK, &lock) != 0) {
    throw SystemException("fileUnlock", errno);
  }
}

bool fileIsSameAsFd(int fd, const char* path) {
  struct stat open;
  if (::fstat(fd, &open) != 0) {
    throw SystemException("fileIsSameAsFd/fstat", errno);
  }
  struct stat named;
  if (::stat(path, &named) != 0) {
    if (leadsNowhere(errno)) {
      return false;
    }
    throw SystemExceptionFmt("fileIsSameAsFd/stat(%s)", errno, path);
  }
  // An inode's number counts on its own device only. By the two a log sees that its file was moved away from under it.
  return open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

}  // namespace plat
