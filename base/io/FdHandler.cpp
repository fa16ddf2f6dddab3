#include "base/io/FdHandler.h"

#include <unistd.h>

namespace io {

FdHandler::~FdHandler() {
  if (fd_ >= 0 && ownFd) {
    ::close(fd_);
  }
}

void FdHandler::writable() {}

void FdHandler::setSocketError(int) {}

void FdHandler::exceptional() {}

void FdHandler::managerGone() {}

}  // namespace io
