#include "base/os/AppLoopImpl.h"

#include "base/io/FdSelectManager.h"

namespace os {

int AppLoopImpl::run() {
  stop = false;
  while (!stop) {
    fdManager->processEvents(-1);
  }
  return AppLoop::exitValue();
}

void AppLoopImpl::quit() {
  stop = true;
  if (fdManager != nullptr) {
    // The turn under way may be followed by a wait without end, in which nobody would look at `stop`.
    fdManager->wake();
  }
}

io::FdSelectManager& AppLoopImpl::processManager() {
  static io::FdSelectManager manager;
  return manager;
}

}  // namespace os
