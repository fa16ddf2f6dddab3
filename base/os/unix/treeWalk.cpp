#include "base/os/unix/treeWalk.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/os/unix/DirEnum.h"
#include "base/plat/exceptions.h"

namespace os {

namespace {

/// A folder that has been read, and the folders in it that are still to be entered, the next one last.
struct Level {
  std::size_t pathLength;
  std::vector<std::string> folders;
  std::exception_ptr failure;
};

// Runs one step of the reading; what keeps the folder from being read ends up in `failure`.
template <class Step>
void guarded(std::exception_ptr& failure, Step step) {
  try {
    step();
  } catch (const plat::SystemException&) {
    failure = std::current_exception();
  }
}

/// The folder is closed again before anything in it is entered, so one descriptor is enough for any depth.
Level readFolder(const std::string& path, TreeVisitor& visitor, bool followLink) {
  Level level{path.size(), {}, nullptr};
  visitor.enterFolder(path.c_str());
  std::optional<DirEnum> at;
  guarded(level.failure, [&] { at.emplace(path.c_str(), followLink); });
  while (level.failure == nullptr) {
    const char* name = nullptr;
    guarded(level.failure, [&] { name = at->next(); });
    if (name == nullptr) {
      break;
    }
    if (visitor.element(*at)) {
      level.folders.emplace_back(name);
    }
  }
  std::reverse(level.folders.begin(), level.folders.end());
  return level;
}

}  // namespace

void TreeVisitor::enterFolder(const char*) {}

void walkTree(const char* top, TreeVisitor& visitor, bool followLinks) {
  std::string path(top);
  std::vector<Level> levels;
  levels.push_back(readFolder(path, visitor, true));
  while (!levels.empty()) {
    Level& level = levels.back();
    path.resize(level.pathLength);
    if (level.folders.empty()) {
      const std::exception_ptr failure = std::move(level.failure);
      levels.pop_back();
      visitor.leaveFolder(path.c_str(), failure);
      continue;
    }
    if (path.back() != '/') {
      path += '/';
    }
    path += level.folders.back();
    level.folders.pop_back();
    levels.push_back(readFolder(path, visitor, followLinks));
  }
}

}  // namespace os
