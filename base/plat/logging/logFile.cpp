#include "base/plat/logging/logFile.h"

#include <ctime>

#include <sys/stat.h>

#include "base/os/unix/DirEnum.h"
#include "base/plat/Exception.h"
#include "base/plat/Time.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/dateText.h"
#include "base/plat/file/FilePtr.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/fileTree.h"
#include "base/plat/logging/logParameters.h"
#include "base/plat/strings.h"

namespace plat {

namespace {

/// Files from before this time are purged; 0 if that would be before time begins.
FileTime purgeLimit() {
  constexpr FileTime TicksPerDay = 24L * 3600 * TicksPerSecond;
  const FileTime now = getTime();
  const FileTime keepDays = logKeepDaysParameter().getValueInt();
  return keepDays > now / TicksPerDay ? 0 : now - keepDays * TicksPerDay;
}

/// @return false if something could not be looked at or removed.
bool purge(const char* dir, const char* baseName) {
  const FileTime limit = purgeLimit();
  // With the dot: the log itself is not one of those to be purged.
  const String prefix = String::format("%s.", baseName);
  try {
    os::DirEnum entries(dir);
    while (const char* const name = entries.next()) {
      if (strStartsWith(name, prefix.get()) && fileGetTime(entries.path()) < limit) {
        fileRemove(entries.path());
      }
    }
  } catch (const Exception&) {
    return false;
  }
  return true;
}

/// A log may be sent to "/dev/null", or to "/dev/stdout", which is a link to whatever that is at the moment. Renaming
/// these would take them from everybody.
bool belongsToAll(const char* path) noexcept {
  struct stat status = {};
  if (::stat(path, &status) == 0 && (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode))) {
    return true;
  }
  return strStartsWith(path, "/dev/") && ::lstat(path, &status) == 0 && !S_ISREG(status.st_mode);
}

void rotate(const char* path, const char* dir, const char* baseName) {
  if (!fileExists(path) || belongsToAll(path)) {
    return;
  }
  const std::tm t = localBreakdown(fileGetTime(path));
  const String name = String::format("%s.%04d%02d%02d%02d%02d%02d", baseName, t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                                     t.tm_hour, t.tm_min, t.tm_sec);
  fileRenameNoThrow(path, fileFreeName(dir, name.get()).get());
}

}  // namespace

void openLogFile(FilePtr& file, const char* path) {
  const String dir = fileDirName(path);
  const String baseName = fileBaseName(path);
  mkDirs(dir.get(), true, false);
  if (purge(dir.get(), baseName.get())) {
    rotate(path, dir.get(), baseName.get());
  }
  file.open(path, FilePtr::Write);
}

String logFilePath(const char* dir, const char* file) {
  const String expandedDir = expandVars(dir, nullptr, true, true);
  String expandedFile = expandVars(file, nullptr, true, true);
  if (isAbsolutePath(expandedFile.get())) {
    return expandedFile;
  }
  return fileJoin(expandedDir.get(), expandedFile.get());
}

}  // namespace plat
