#pragma once

#include "base/plat/NonCopyable.h"

namespace io {

/// A descriptor and what is to be done when it becomes ready: the thing that FdManager dispatches to.
///
/// Road:      called by FdManager alone; FdIo, which implements it for connections, goes on to an IoHandler, FdKicker
///            to its callback.
/// Ownership: belongs to whoever made it; a manager only observes, and the handler must be unregistered before it dies.
///            Closes its descriptor at its end if it owns it.
/// Thread:    that of the manager.
/// Reentry:   from inside any operation the handler may change every registration and interest, its own included, and
///            may destroy any handler, itself included.
class FdHandler : plat::NonCopyable {
public:
  FdHandler() = default;
  virtual ~FdHandler();

  /// Bytes or the end of the stream may be had.
  virtual void readable() = 0;
  /// There is room to write.
  virtual void writable();
  /// A connect under way has ended with this errno value.
  virtual void setSocketError(int error);
  /// Out-of-band news, from managers that know such a thing.
  virtual void exceptional();
  /// The manager is being destroyed and has forgotten the handler, which must drop its pointer.
  virtual void managerGone();

  /// -1 when there is none.
  int fd() const noexcept { return fd_; }

protected:
  int fd_ = -1;
  bool ownFd = true;
  bool connecting = false;  // a connect is under way: the first writable() tells its end
};

}  // namespace io
