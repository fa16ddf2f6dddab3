#include "base/plat/LogDestFileMgr.h"

#include "base/plat/StringParameter.h"
#include "base/plat/filePaths.h"
#include "base/plat/logParameters.h"
#include "base/plat/strings.h"

namespace plat {

LogDestFileMgr::LogDestFileMgr() : dest_("file", nullptr) {
  logFileParameter().addCallback(this);
  logDirParameter().addCallback(this);
}

LogDestFileMgr& LogDestFileMgr::instance() {
  static LogDestFileMgr& manager = *new LogDestFileMgr;
  return manager;
}

void LogDestFileMgr::setEnabled(bool enabled) {
  LogDestFileMgr& manager = instance();
  manager.enabled_ = enabled;
  if (enabled) {
    manager.parameterChanged(logFileParameter(), PriorityDefault);
  } else {
    manager.dest_.setPath(nullptr);
  }
}

void LogDestFileMgr::parameterChanged(ConfigParameter&, int) {
  if (enabled_) {
    dest_.setPath(logFilePath(logDirParameter().value(), logFileParameter().value()).get());
  }
}

String logFilePath(const char* dir, const char* file) {
  const String expandedDir = expandVars(dir, nullptr, true, true);
  String expandedFile = expandVars(file, nullptr, true, true);
  if (isAbsolutePath(expandedFile.get())) {
    return expandedFile;
  }
  if (strEndsWith(expandedDir.get(), "/")) {
    return String::format("%s%s", expandedDir.get(), expandedFile.get());
  }
  return String::format("%s%c%s", expandedDir.get(), '/', expandedFile.get());
}

}  // namespace plat
