#pragma once

#include "base/plat/String.h"

namespace plat {

class FilePtr;

/// Opens a fresh log file at `path`, with any missing folder above it (mode 0700). Before that, files of the same base
/// name with something behind a dot are removed once they are older than `LogKeepDays` days, and a file at `path` gets
/// the time of its last change as a further extension, unless it is a device or, in /dev, no plain file. A log in an
/// untidy folder is better than none: if a file cannot be removed, the rest of this is left out, and one that cannot be
/// renamed is overwritten.
/// @throws SystemException "mkDir(%s)", "Error opening \"%s\""; Exception "Too many files with same name"
void openLogFile(FilePtr& file, const char* path);

/// Where the log file lies: `file` itself if it is absolute, else below `dir`, after both were expanded ($NAME).
/// An empty `dir` is the top of the file system, so that there is never a relative path.
/// @throws Exception "unknown environment variable: %s"
[[nodiscard]] String logFilePath(const char* dir, const char* file);

}  // namespace plat
