#pragma once

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace os {

/// A descriptor that is closed at the end of its scope unless it is given away. -1 stands for none, as in the system's
/// calls.
///
/// Purpose:   for code that can fail between making a descriptor and handing it over. Opens nothing itself, and leaves
///            sharing and late closing to the classes that take plain numbers.
/// Ownership: the one owner, as std::unique_ptr is of an object. Whoever calls release() has to close.
/// Thread:    any, one at a time.
/// Failure:   that of close(2) goes unheard; errno stays as it was, so that it may still be asked for afterwards.
/// Children:  one that runs in its launcher's memory must leave by exec or _exit; an object that it ended would be
///            lost to the launcher.
class UniqueFd {
public:
  UniqueFd() noexcept = default;
  explicit UniqueFd(int fd) noexcept : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const noexcept { return fd_; }
  explicit operator bool() const noexcept { return fd_ >= 0; }

  /// Gives the descriptor away and holds none from here on.
  int release() noexcept { return std::exchange(fd_, -1); }

  /// Closes what it holds, and holds `fd` instead.
  void reset(int fd = -1) noexcept {
    const int former = std::exchange(fd_, fd);
    if (former >= 0) {
      const int savedErrno = errno;
      ::close(former);
      errno = savedErrno;
    }
  }

private:
  int fd_ = -1;
};

}  // namespace os
