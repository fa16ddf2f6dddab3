#pragma once

#include "tests/support/prelude.h"

/// The paths of the programs under test.
std::string helper();
std::string kelfops();

/// A launched program of which standard output and standard error are kept in files and looked at when it has ended.
///
/// A test that forgets to wait has it killed by the destructor.
class Child : private plat::NonCopyable {
public:
  static constexpr int LinkNumber = 3;

  /// @param prepare runs in the child just before the program; only async-signal-safe calls.
  /// @param linkFd becomes descriptor LinkNumber in the child; -1 for none.
  explicit Child(const std::vector<std::string>& words, const std::function<void()>& prepare = {}, int linkFd = -1);
  ~Child();

  /// Waits, at most half a minute (the test fails then): the exit code, or the negative signal number.
  int wait();
  bool isRunning();
  pid_t pid() const { return pid_; }

  /// What the program printed; complete once it has been waited for.
  std::string output() const;
  std::string errors() const;

private:
  pid_t pid_ = -1;
  const test::Fd outputFd_, errorFd_;
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
