#pragma once

#include <cstddef>
#include <string>

#include <dirent.h>

#include "base/plat/NonCopyable.h"

namespace os {

/// Lists one folder, an element at a time, in the order of the file system and without "." and "..". Not a walk: it
/// does not look into what it finds (see treeWalk.h).
///
/// Road:      fops::scanDir() steps through a folder with it, and walkTree() through each folder of a tree; it calls
///            open(2) and readdir(3).
/// Ownership: a local of whoever lists; holds one descriptor until it is destroyed.
/// Thread:    any one.
class DirEnum : plat::NonCopyable {
public:
  /// @param followLink false if `path` may not itself be a link, which then fails like a file.
  /// @throws plat::StdlibException "opendir(%s)"
  /// @throws plat::AssertionFail "dirLen > 0" for an empty path
  explicit DirEnum(const char* path, bool followLink = true);
  ~DirEnum();

  /// Steps to the next element. @return its name, or null at the end.
  /// @throws plat::SystemException "readdir"
  const char* next();

  /// Name and full path of the element that next() stepped to; both die with the next step.
  const char* name() const noexcept { return buffer_.c_str() + prefixLength_; }
  const char* path() const noexcept { return buffer_.c_str(); }

  /// What the folder's own entry says about the element's type: DT_DIR and so on, often DT_UNKNOWN. It does not follow
  /// links and needs no right to search the folder, so it is no substitute for a `stat`.
  unsigned char entryType() const noexcept {
    return entry_ != nullptr ? entry_->d_type : static_cast<unsigned char>(DT_UNKNOWN);
  }

  /// The folder's descriptor, for the ...at() calls with name(); valid as long as this object.
  int fd() const noexcept;

private:
  DIR* dir_;
  const dirent* entry_ = nullptr;
  std::string buffer_;  // the folder with one trailing slash, then the element's name
  std::size_t prefixLength_;
};

}  // namespace os
