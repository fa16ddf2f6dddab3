#pragma once

#include <string>

#include "base/os/unix/UniqueFd.h"
#include "base/plat/NonCopyable.h"

/// A listening Unix-domain socket in a folder that only its owner can enter. Both are gone with the object.
class PrivateSocket final : private plat::NonCopyable {
public:
  /// @throws plat::Exception if the folder or the socket cannot be made, or its path is too long for one.
  PrivateSocket();
  ~PrivateSocket();

  int fd() const noexcept { return fd_.get(); }
  const std::string& path() const noexcept { return path_; }

private:
  void listen();
  void remove() noexcept;

  std::string folder_;
  std::string path_;
  os::UniqueFd fd_;
};
