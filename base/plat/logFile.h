#pragma once

namespace plat {

class FilePtr;

/// Opens a fresh log file at `path`, with any missing folder above it (mode 0700). Before that, files of the same base
/// name with something behind a dot are removed once they are older than `LogKeepDays` days, and a file at `path` gets
/// the time of its last change as a further extension. If this tidying fails somewhere the rest of it is left out.
/// @throws SystemException "mkDir(%s)", "Error opening \"%s\""
void openLogFile(FilePtr& file, const char* path);

}  // namespace plat
