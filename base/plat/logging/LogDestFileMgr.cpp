#include "base/plat/logging/LogDestFileMgr.h"

#include "base/plat/config/StringParameter.h"
#include "base/plat/logging/logFile.h"
#include "base/plat/logging/logParameters.h"

namespace plat {

LogDestFileMgr::LogDestFileMgr() : dest_("file", nullptr) {
  logFileParameter().addCallback(this);
  logDirParameter().addCallback(this);
}

LogDestFileMgr& LogDestFileMgr::instance() {
  static NeverDestroyed<LogDestFileMgr> manager;
  return *manager;
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

}  // namespace plat
