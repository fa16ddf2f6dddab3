#pragma once

#include <ostream>

#include <sys/mman.h>

#include "base/plat/Exception.h"
#include "tests/support/prelude.h"

namespace test {

/// How a forked child ended, and what it printed.
struct Outcome {
  int result;  ///< the exit code, or the negative signal number
  std::string output;
  std::string errors;

  bool operator==(const Outcome&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.result << '\n' << outcome.output << "--- errors:\n" << outcome.errors;
  }
};

constexpr int Returned = 42;  ///< the exit code of a child whose body came back
constexpr int Thrown = 43;    ///< and of one whose body threw; the text is on standard error

inline std::string contentsOf(int fd) {
  std::string text(static_cast<std::size_t>(::lseek(fd, 0, SEEK_END)), '\0');
  text.resize(static_cast<std::size_t>(::pread(fd, text.data(), text.size(), 0)));
  ::close(fd);
  return text;
}

/// Runs `body` in a child, so that it may change the user, execute a program or end the process.
Outcome inChild(const auto& body) {
  const int output = ::memfd_create("output", MFD_CLOEXEC);
  const int errors = ::memfd_create("errors", MFD_CLOEXEC);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    try {
      body();
    } catch (const plat::Exception& e) {
      ::dprintf(STDERR_FILENO, "%s", e.message);
      ::_exit(Thrown);
    }
    ::_exit(Returned);
  }
  int status = 0;
  ::waitpid(pid, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contentsOf(output), contentsOf(errors)};
}

}  // namespace test
