#pragma once

#include <map>
#include <set>
#include <vector>

#include <sys/types.h>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace os {

/// Describes the launch of one child process, carries it out and holds the child.
///
/// Purpose:   exact control of the child's arguments, environment and descriptors; a start that fails is an exception
///            here and no exit code of the child's.
/// Ownership: a value of its user's. It takes over the descriptors in `childDup` and closes them, each one once, when
///            start() is through with them or at its end; give it copies of what is still needed.
/// Thread:    one at a time; the main thread where there is an event loop. Other threads may go on meanwhile.
/// Lifecycle: fill the fields in, start() once, then wait(). The destructor waits for a child at level 0, leaves one at
///            level 1 to be reaped when it ends, and has nothing to do with one at level 2.
/// The child gets the environment that is given, which is none at first; descriptors 0 and 1 from and to /dev/null
/// unless redirected; 2 unless redirected or closed; and no descriptor above the highest that is redirected.
class LaunchProcess final : plat::NonCopyable {
public:
  enum DetachLevel : int {
    ParentWaits = 0,
    DetachAtEnd = 1,      ///< at destruction
    DetachFromStart = 2,  ///< by a double fork, in a session of its own; there is no `pid`
  };

  LaunchProcess() = default;
  ~LaunchProcess();

  /// Performs the launch. Returns when the child runs its program, or if `args` is empty, has been forked.
  /// @return true in the launcher; false in the child of a launch with empty `args`, which runs on from here as a copy
  ///   of this process, and in which nothing is allocated or locked before.
  /// @throws plat::SystemException "%s does not exist or is not executable", or with the name and error of what failed:
  ///   "fileOpenFd(%s)", "pipe2", "fork", and in the child "dup2", "fcntl", "execve(%s)"; the child is gone then.
  ///   plat::AssertionFail "!used", "isAbsolutePath(cfg.args[0])", "getuid() == 0 && geteuid() == 0";
  ///   what getElevateProg() raises
  bool start();

  /// Opens a file for the child's descriptor `childFd`. A file to be written gets mode 0600 if it is new.
  /// @param append write behind what is there; else the file is emptied. @throws plat::SystemException "fileOpenFd(%s)"
  void redirectFile(bool read, int childFd, const char* path, bool append);

  /// Makes the child's descriptor `to` a copy of its `from`, which is redirected already.
  /// @throws plat::AssertionFail "i != childDup.end()", with "redirectDup2: fd %d not redirected"
  void redirectDup2(int from, int to);

  /// Raises the level. A running child whose level becomes 2 is left to be reaped when it ends, and forgotten.
  /// @throws plat::AssertionFail "dl >= cfg.dl"
  void setDetachLevel(int level);

  /// Waits for the child's end. Once that was told, or has been found to be untellable, there is no `pid` any more.
  /// With an event loop a child that ends is noticed at once, without one the limit is checked every 50 to 1000 ms.
  /// @param status if not null: the exit code, or the negative number of the signal that killed the child.
  /// @param timeoutMs milliseconds; negative for ever, 0 to look once.
  /// @return false if the child still runs after that time.
  /// @throws plat::Exception "LaunchProcess: process detached or not started"; plat::SystemException "waitpid"
  bool wait(int* status, int timeoutMs);

  /// Fills `environment` with this process's own.
  void inheritEnvironment();

  std::vector<plat::String> args;  ///< the program first; empty: the child runs on from the fork
  int dl = ParentWaits;
  bool elevate = false;       ///< get root privilege, unless it is there
  plat::String title;         ///< of the prompt for that; may be null
  uid_t runAsUid = 0;         ///< the user to run as, 0 for no change; for root only
  bool selfAsHelper = false;  ///< the change of user is this program's own, not the target's
  bool searchPath = false;    ///< find args[0] beside this program, which null stands for, or in `PATH`; else absolute
  std::map<plat::String, plat::String> environment;
  std::map<int, int> childDup;  ///< by a number in the child, the descriptor that is to become it
  std::set<int> closeInChild;
  pid_t pid = -1;     ///< the child; -1 without one
  plat::String name;  ///< for the log; start() sets it to the program
  bool used = false;

private:
  void resolveProgram();
  void addPrivilegeWords();
  void redirectMissing();
  bool forkChild();
  bool reap(bool block, int* status);
  void setRedirect(int childFd, int fd);
  void closeRedirects() noexcept;
};

}  // namespace os
