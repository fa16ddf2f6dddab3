#pragma once

#include <sys/stat.h>

namespace os {
class DirEnum;
}

namespace fops {

/// What one `stat` said of a path, links followed, to be looked at more than once. A value.
/// Road: fops::scanDir() makes one for each element that os::DirEnum gives it, getDirEntry() for a path; calls stat(2)
/// or fstatat(2).
struct StatResult {
  explicit StatResult(const char* path) noexcept;

  /// Of what a descriptor is open on, whatever has become of its path.
  explicit StatResult(int fd) noexcept;

  /// Of the path that `elements` stepped to; looked up from the open folder where that makes no difference, which
  /// spares the way down the path.
  explicit StatResult(const os::DirEnum& elements) noexcept;

  bool isDir() const noexcept { return error == 0 && S_ISDIR(st.st_mode); }

  struct stat st;  // only set if error is 0
  int error;       // errno, or 0
};

}  // namespace fops
