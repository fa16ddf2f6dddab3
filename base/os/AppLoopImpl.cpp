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
    fdManager->wake();
  }
}

io::FdSelectManager& AppLoopImpl::processManager() {
  static io::FdSelectManager manager;
  return manager;
}

}  // namespace os
