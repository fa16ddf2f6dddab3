#pragma once

#include "base/plat/String.h"

namespace plat {

/// Path texts, by their letters alone: nothing here looks at the disk, so a link is a name like any other.
/// A null path is an empty one.

bool isAbsolutePath(const char* path) noexcept;

/// The path without doubled or trailing slashes, "." elements, and ".." elements that have one before them to cancel.
/// Leading ".." of a relative path stay, those right below "/" go; what would be empty is ".".
String fileNormalise(const char* path);

/// The folder that holds `path`: normalised, up to the last slash. "." if it has none; ".." for "."; one more ".."
/// for a path that ends in one; "/" for "/".
String fileDirName(const char* path);

/// The last element of the normalised path: "." for a relative path that ends in "..", empty for "/".
/// @param suffix if not null, cut off where the element ends in it and is longer, without regard to case (ASCII).
String fileBaseName(const char* path, const char* suffix = nullptr);

/// `dir`, one slash, `name`; no second slash if `dir` ends in one.
String fileJoin(const char* dir, const char* name);

/// A copy in which "/", bytes below 32 and byte 127 are replaced. Null stays null.
String fileSanitiseName(const char* name, char with);

}  // namespace plat
