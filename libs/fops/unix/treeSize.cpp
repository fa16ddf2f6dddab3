#include "libs/fops/unix/treeSize.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "base/os/unix/DirEnum.h"
#include "base/plat/Exception.h"
#include "base/plat/SystemExceptionFmt.h"
#include "libs/fops/unix/StatResult.h"
#include "libs/fops/unix/metadataLog.h"

namespace fops {

namespace {

/// Walks a tree with a stack of its own and no more than one open directory.
///
/// A directory is read at one go. Its elements count at once until the first directory turns up; the names from there
/// on are kept for later, so that elements are dealt with, and their failures logged, in the order of the file system.
class TreeWalk {
public:
  explicit TreeWalk(const char* top) : path_(top) {}

  std::int64_t run();

private:
  struct Level {
    std::size_t prefixLength = 0;  // of the directory's path with its slash
    std::string names;             // elements kept for later, each with a terminator
    std::size_t next = 0;          // where the next of these starts
    std::uint64_t sum = 0;         // bytes so far
    std::exception_ptr readError;  // the directory could not be read to its end: all of it will count 0
  };

  void enter();
  void takeNext();
  bool leave();
  static bool isDir(const char* path, const StatResult& found, Level& level);
  static void logFailure(const char* path, const plat::Exception& error);

  std::string path_;  // of the element at hand
  std::vector<Level> levels_;
  std::uint64_t total_ = 0;
};

std::int64_t TreeWalk::run() {
  enter();
  for (;;) {
    if (levels_.back().next < levels_.back().names.size())
      takeNext();
    else if (leave())
      return static_cast<std::int64_t>(total_);
  }
}

/// Reads the directory at path_ and begins its level. @throws plat::SystemException if it cannot be opened.
void TreeWalk::enter() {
  os::DirEnum elements(path_.c_str());
  Level level;
  if (path_.back() != '/')
    path_ += '/';
  level.prefixLength = path_.size();
  try {
    while (const char* name = elements.next()) {
      if (!level.names.empty() || isDir(elements.path(), StatResult(elements), level))
        level.names.append(name, std::strlen(name) + 1);
    }
  } catch (const plat::Exception&) {
    level.readError = std::current_exception();
  }
  levels_.push_back(std::move(level));
}

/// Counts an element that is no directory, as 0 if it cannot be read. @return true if it is a directory.
bool TreeWalk::isDir(const char* path, const StatResult& found, Level& level) {
  if (found.isDir())
    return true;
  if (found.error == 0)
    level.sum += static_cast<std::uint64_t>(found.st.st_size);
  else if (metadataLog.enabled(plat::LogDebug))
    logFailure(path, plat::SystemExceptionFmt("fileGetSize(%s)", found.error, path));
  return false;
}

void TreeWalk::takeNext() {
  Level& level = levels_.back();
  const char* name = level.names.data() + level.next;
  path_.resize(level.prefixLength);
  path_ += name;
  level.next += std::strlen(name) + 1;
  if (!isDir(path_.c_str(), StatResult(path_.c_str()), level))
    return;
  try {
    enter();
  } catch (const plat::Exception& error) {
    logFailure(path_.c_str(), error);
  }
}

/// Ends the innermost level. @return true if it was the top.
bool TreeWalk::leave() {
  const Level level = std::move(levels_.back());
  levels_.pop_back();
  if (level.readError) {
    if (levels_.empty())
      std::rethrow_exception(level.readError);
    path_.resize(level.prefixLength - 1);
    try {
      std::rethrow_exception(level.readError);
    } catch (const plat::Exception& error) {
      logFailure(path_.c_str(), error);
    }
    return false;
  }
  (levels_.empty() ? total_ : levels_.back().sum) += level.sum;
  return levels_.empty();
}

void TreeWalk::logFailure(const char* path, const plat::Exception& error) {
  if (metadataLog.enabled(plat::LogDebug))
    metadataLog.debug("Error getting size of %s: %s", path, plat::ExceptionText(error).get());
}

}  // namespace

std::int64_t dirTreeSize(const char* local) {
  return TreeWalk(local).run();
}

}  // namespace fops
