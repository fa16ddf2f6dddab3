#pragma once

#include <string>

/// The absolute form of a path on this side, without touching symbolic links: a link keeps the name it has.
std::string absoluteLocalPath(const std::string& path);

/// `folder` and `name` with one slash between them.
std::string joinLocalPath(const std::string& folder, const std::string& name);
