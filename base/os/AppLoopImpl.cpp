#include "base/os/AppLoopImpl.h"

#include "base/io/FdSelectManager.h"

namespace os {

int AppLoopImpl::run() {
  stop_ = false;
  while (!stop_) {
    fdManager_->processEvents(-1);
  }
  return AppLoop::exitValue();
}

void AppLoopImpl::quit() {
  stop_ = true;
  if (fdManager_ != nullptr) {
    // The turn under way may be followed by a wait without end, in which nobody would look at `stop_`.
    fdManager_->wake();
  }
}

io::FdSelectManager& AppLoopImpl::processManager() {
  static io::FdSelectManager manager;
  return manager;
}

}  // namespace os
