#pragma once

#include "base/plat/String.h"
#include "base/plat/assert.h"

// Client paths: relative, separated by "/", UTF-8, no leading slash; the empty path is the top of the exported tree.
// The checks here are the whole defence of that tree and purely lexical: links are never looked at.
// Road: SFopsProto calls the checks with what it has read, ahead of LocalDirActions and LocalFileServer, which rely on
// them.

namespace fops {

/// Flag bits of checkPathElement.
enum PathElementFlags : unsigned { RefuseBackslash = 1, AllowEmptyElement = 2 };

/// The client path of `f` below `d`: "d/f", or `f` alone if `d` is null or empty.
/// FATAL if `f` is null or either begins with a slash: check what comes from the peer first.
inline plat::String joinPath(const char* d, const char* f) {
  PLAT_ASSERT_AS(f && f[0] != '/', "f && f[0] != '/'", "libs/fops/path", 34);
  if (!d || !*d) {
    return plat::String(f);
  }
  PLAT_ASSERT_AS(d[0] != '/', "d[0] != '/'", "libs/fops/path", 36);
  return plat::String::format("%s/%s", d, f);
}

/// Accepts one name within a path. Null counts as empty.
/// @param flags PathElementFlags, 0 for a name of this platform.
/// @throws BadPath with the first reason that applies: empty, bad UTF-8, holds "/", holds a backslash, is "." or "..".
void checkPathElement(const char* element, unsigned flags);

/// Accepts a path of which every element is a name: neither empty, nor with leading, doubled or trailing slashes.
/// @throws BadPath
void checkPath(const char* path);

/// Accepts a folder's path: as checkPath, but empty elements are skipped, so that the top of the tree passes.
/// @throws BadPath
void checkDirPath(const char* path);

}  // namespace fops
