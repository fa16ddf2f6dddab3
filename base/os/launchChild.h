#pragma once

#include <vector>

#include "base/os/SignalHandler.h"

namespace os {

/// The child's side of a launch: everything between fork and exec.
///
/// Ownership: filled by the launcher before the fork; observes all that it points to.
/// Thread:    runs in the child, perhaps in the launcher's own memory beside the launcher's other threads (see
///            forkShared()): it allocates nothing, takes no lock, raises nothing and writes to nothing but its own
///            stack, `redirects`, `errorFd` and errno. A failure goes to the launcher as a start-error record, and the
///            child ends with 1.
class LaunchChild final {
public:
  struct Redirect {
    int source;  ///< a descriptor of the launcher
    int target;  ///< the number that it gets in the child
    int moved;   ///< where the source is used from; set by the child
  };

  /// Becomes the program of `argv`; does not return.
  [[noreturn]] void becomeProgram() noexcept;

  /// Sets the descriptors and signals up in a plain fork that goes on with the launcher's code. The descriptors that
  /// were redirected, and the one for errors, are closed.
  void runOn() noexcept;

  std::vector<Redirect> redirects;  ///< by rising target
  std::vector<int> toClose;
  int errorFd = -1;  ///< the writing end, close-on-exec
  SignalHandler::BlockRecord signals;
  const SignalHandler* signalHandler = nullptr;
  char* const* argv = nullptr;         ///< the program's path first
  char* const* environment = nullptr;  ///< "name=value"
  const char* execCall = nullptr;      ///< names the call to execve in its error record

private:
  void restoreSignals() noexcept;
  void closeUnwanted(bool sources) const noexcept;
  void redirectAll() noexcept;
  void moveOutOfTheWay() noexcept;
  int firstNumberAboveAll() const noexcept;
  bool isSource(int fd) const noexcept;
  bool isTarget(int fd) const noexcept;
  int moveUp(int fd, int& above) const noexcept;
  [[noreturn]] void fail(const char* text) const noexcept;
};

}  // namespace os
