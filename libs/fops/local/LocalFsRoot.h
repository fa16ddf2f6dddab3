#pragma once

#include "base/plat/String.h"

namespace plat {
class StringParameter;
}

namespace fops {

/// The top of the exported tree, and the two conversions between client paths (relative to it) and local paths
/// (absolute). Comparison is by text; links are never resolved, and nothing here touches the disk.
///
/// Road:      LocalDirActions and LocalFileServer turn each checked path of a request into a local one here, ahead of
///            any call to the disk.
/// Ownership: a member of LocalFileServer, built from the value that FopsDir has then. Immutable, so that a change of
///            FopsDir does not move a live session.
class LocalFsRoot final {
public:
  /// @throws plat::AssertionFail "isAbsolutePath(rootDir)" if `rootDir` does not begin with a slash.
  explicit LocalFsRoot(const char* rootDir);

  /// The local path of `client`, which may be null; the root itself if it is empty. Does not examine the path: it must
  /// have passed checkPath or checkDirPath.
  plat::String toLocalPath(const char* client) const;

  /// The client path of `local`, in the case of `local`.
  ///
  /// A path outside the root, and the root itself, throw if `strict` and are the empty path if not.
  /// @throws BadPath if `strict` and the path is outside; in both forms if what follows the root begins with a slash or
  ///         holds an element that is bad UTF-8, "." or "..".
  plat::String toClientPath(const char* local, bool strict) const;

  /// True if the root is exactly "/".
  bool isFsRoot() const noexcept;

  const char* rootDir() const noexcept { return rootDir_.orEmpty(); }

private:
  bool isInside(const char* local) const;

  plat::String rootDir_;       // as given
  plat::String rootDirSlash_;  // ends in one more slash, unless it did already
  plat::String rootDirMatch_;  // rootDirSlash_, upper-cased if paths are compared without regard to case
};

/// `FopsDir`: the directory to make available.
plat::StringParameter& fopsDirParameter();

}  // namespace fops
