#pragma once

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>

namespace test {

/// The process's open descriptors, for tests that nothing is leaked; the one used for looking is not among them.
inline std::set<int> openFds() {
  std::set<int> fds;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    fds.insert(std::atoi(entry.path().filename().c_str()));
  }
  for (auto fd = fds.begin(); fd != fds.end();) {  // the folder was open while it was read, and is closed by now
    fd = std::filesystem::is_symlink(std::filesystem::path("/proc/self/fd") / std::to_string(*fd)) ? std::next(fd)
                                                                                                   : fds.erase(fd);
  }
  return fds;
}

}  // namespace test
