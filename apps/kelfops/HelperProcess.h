#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

#include "apps/kelfops/Options.h"
#include "base/os/LaunchProcess.h"
#include "base/plat/NonCopyable.h"

namespace io {
class Io;
}

/// A launched helper and the link to it: the server's half of the start, and the end.
///
/// On the socket link it makes a fresh secret and a listening socket in a private folder, gives the helper the secret's
/// digest, and answers with the secret itself; the folder is gone again once the helper has connected.
/// Ownership: a local variable of the program, outliving the channel on its link. Thread: any one thread.
/// Lifecycle: the constructor returns with a connected helper or throws with none left; the destructor ends the
/// helper if it is still there, and reaps it.
class HelperProcess final : private plat::NonCopyable {
public:
  /// Launches the helper and waits for its link.
  /// @param program path of the helper's executable.
  /// @param arguments what follows the link on its command line.
  /// @throws plat::Exception if it cannot be launched, ends before it has connected, does not connect for ten seconds,
  ///   or SIGINT, SIGTERM or SIGHUP arrives meanwhile.
  HelperProcess(const std::string& program, LinkKind kind, const std::vector<std::string>& arguments);
  ~HelperProcess();

  /// The link to the helper; hands it out once.
  std::unique_ptr<io::Io> takeLink();

  /// The helper's, also after its end.
  pid_t pid() const noexcept { return pid_; }

  /// For who watches the helper: the child, or -1 once it has been waited for, and where to tell how it ended.
  pid_t& child() noexcept { return launch_.pid; }
  void noteEnd(int status);

  /// Waits for the helper's end, at most `timeoutMs` milliseconds.
  /// @return "exit status N" or "signal NAME", or empty if it is still running.
  std::string waitForEnd(int timeoutMs);

  /// Waits a while for the helper's end and ends it if it does not come.
  /// @return as waitForEnd(), never empty.
  std::string bringToEnd();

  /// Processor time that the helper has used, in microseconds; 0 until it has ended and was waited for.
  std::int64_t processorTimeUs() const noexcept { return processorTimeUs_; }

private:
  class HeldSignals;

  void launch(const std::string& program, LinkKind kind, const std::vector<std::string>& arguments);
  void endAtOnce();
  void launchOnSocket(const std::string& program, const std::vector<std::string>& arguments);
  void launchOnPair(const std::string& program, bool asStdin, const std::vector<std::string>& arguments);
  void start(const std::string& program, const std::vector<std::string>& arguments);
  /// @return the connection, or -1 if a signal has come.
  int acceptFrom(int listenFd, const HeldSignals& held);

  os::LaunchProcess launch_;
  pid_t pid_ = -1;
  std::unique_ptr<io::Io> link_;
  std::string end_;                ///< how it ended, once that is known
  std::int64_t othersTimeUs_ = 0;  ///< processor time of children before the helper
  std::int64_t processorTimeUs_ = 0;
};
