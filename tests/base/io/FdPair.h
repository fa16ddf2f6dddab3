#pragma once

#include "tests/support/prelude.h"

namespace test {

/// A connected pair of stream sockets. The test plays the peer on the far end, which never waits; the near end is for
/// the object under test, which may take it over.
class FdPair : private plat::NonCopyable {
public:
  FdPair() {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds_) != 0) {
      throw std::runtime_error("socketpair");
    }
    ::fcntl(fds_[1], F_SETFL, O_NONBLOCK);
  }
  ~FdPair() {
    closeNear();
    closeFar();
  }

  int near() const { return fds_[0]; }
  int takeNear() { return std::exchange(fds_[0], -1); }
  void closeNear() { ::close(takeNear()); }
  void closeFar() { ::close(std::exchange(fds_[1], -1)); }

  /// A copy of the near end, under a number that select cannot watch.
  int highNear() const {
    const FdLimit highest(RLIM_INFINITY);
    const int fd = ::fcntl(near(), F_DUPFD_CLOEXEC, 1024);
    return fd >= 0 ? fd : throw std::runtime_error("fcntl");
  }

  void send(std::string_view bytes) const {
    if (::write(fds_[1], bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
      throw std::runtime_error("write");
    }
  }

  /// Whatever has arrived at the far end.
  std::string receive() const {
    std::string all;
    char buffer[65536];
    for (ssize_t n; (n = ::read(fds_[1], buffer, sizeof buffer)) > 0;) {
      all.append(buffer, static_cast<std::size_t>(n));
    }
    return all;
  }

  /// Whether the near end will never send any more; nothing must be left to receive().
  bool farEnded() const {
    char byte;
    return ::read(fds_[1], &byte, 1) == 0;
  }

private:
  int fds_[2];
};

}  // namespace test
