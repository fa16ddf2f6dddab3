#pragma once

#include <string>

/// The absolute form of a path on this side, without touching symbolic links: a link keeps the name it has.
std::string absoluteLocalPath(const std::string& path);

/// Whether `place`, an absolute path of which the last parts need not be there yet, is `folder` or lies below it,
/// wherever links lead.
bool isWithin(const std::string& place, const std::string& folder);

/// A path without the slashes at its end; "/" stays as it is.
std::string withoutTrailingSlashes(std::string path);

/// `folder` and `name` with one slash between them.
std::string joinLocalPath(const std::string& folder, const std::string& name);
