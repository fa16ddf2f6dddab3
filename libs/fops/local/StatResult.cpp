#include "libs/fops/local/StatResult.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>

#include "base/os/unix/DirEnum.h"

namespace fops {

namespace {

/// A link counts against the links in the path above it, and a path has a longest length: both only show in full paths.
bool needsPath(const os::DirEnum& elements) noexcept {
  const unsigned char type = elements.entryType();
  return type == DT_LNK || type == DT_UNKNOWN || std::strlen(elements.path()) >= PATH_MAX;
}

}  // namespace

StatResult::StatResult(const char* path) noexcept {
  error = ::stat(path, &st) == 0 ? 0 : errno;
}

StatResult::StatResult(int fd) noexcept {
  error = ::fstat(fd, &st) == 0 ? 0 : errno;
}

StatResult::StatResult(const os::DirEnum& elements) noexcept {
  const int done =
      needsPath(elements) ? ::stat(elements.path(), &st) : ::fstatat(elements.fd(), elements.name(), &st, 0);
  error = done == 0 ? 0 : errno;
}

}  // namespace fops
