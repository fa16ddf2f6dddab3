#pragma once

#include <functional>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/types.h>

/// The paths of the programs under test.
std::string helper();
std::string kelfops();

/// A launched program of which standard output and standard error are kept in files and looked at when it has ended.
///
/// A test that forgets to wait has it killed by the destructor.
class Child {
public:
  /// @param linkFd becomes descriptor `linkNumber` in the child; -1 for none.
  /// @param prepare runs in the child just before the program; only async-signal-safe calls.
  explicit Child(const std::vector<std::string>& words, int linkFd = -1, int linkNumber = -1,
                 const std::function<void()>& prepare = {});
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Waits, at most half a minute (the test fails then): the exit code, or the negative signal number.
  int wait();
  bool isRunning();
  void signal(int number) const { kill(pid_, number); }
  pid_t pid() const { return pid_; }

  /// What the program printed; complete once it has been waited for.
  std::string output() const;
  std::string errors() const;

private:
  pid_t pid_ = -1;
  int outputFd_ = -1;
  int errorFd_ = -1;
  bool waited_ = false;
  int result_ = 0;
};

/// What came of a program that has ended.
struct Outcome {
  int status;
  std::string output;
  std::string errors;
};

/// Runs a program, with further words behind the first ones, to its end.
Outcome run(std::vector<std::string> words, const std::vector<std::string>& further = {});
