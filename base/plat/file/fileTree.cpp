#include "base/plat/file/fileTree.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/os/unix/DirEnum.h"
#include "base/os/unix/treeWalk.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/file/filePerms.h"

namespace plat {

namespace {

enum class MkDirOutcome { Created, Existed, Failed };

/// With Failed, `errno` tells why.
MkDirOutcome tryMkDir(const char* path, bool isPrivate, bool fixExisting) {
  if (::mkdir(path, isPrivate ? 0700 : 0777) == 0) {
    return MkDirOutcome::Created;
  }
  // What mkdir(2) says does not tell: EEXIST may mean a file as well.
  const int error = errno;
  if (fileIsDir(path)) {
    if (isPrivate && fixExisting) {
      fileMakePrivate(path);
    }
    return MkDirOutcome::Existed;
  }
  errno = error;
  return MkDirOutcome::Failed;
}

// Removes all that it can and remembers only what became of the folder that it left last, which is the top.
class TreeRemover : public os::TreeVisitor {
public:
  bool element(const os::DirEnum& at) override {
    unsigned char type = at.entryType();
    if (type == DT_UNKNOWN) {
      struct stat info;
      // Not stat(2): a link to a folder is to be removed, not entered.
      if (::lstat(at.path(), &info) != 0) {
        return false;
      }
      type = IFTODT(info.st_mode);
    }
    if (type == DT_DIR) {
      return true;
    }
    fileRemoveNoThrow(at.path());
    return false;
  }

  void leaveFolder(const char* path, std::exception_ptr) override { lastError = ::rmdir(path) == 0 ? 0 : errno; }

  int lastError = 0;
};

std::vector<std::string> elementsOf(const char* dir) {
  std::vector<std::string> names;
  os::DirEnum at(dir);
  while (const char* const name = at.next()) {
    names.emplace_back(name);
  }
  return names;
}

}  // namespace

bool mkDir(const char* path, bool isPrivate, bool fixExisting) {
  const MkDirOutcome outcome = tryMkDir(path, isPrivate, fixExisting);
  if (outcome == MkDirOutcome::Failed) {
    throw SystemExceptionFmt("mkDir(%s)", errno, path);
  }
  return outcome == MkDirOutcome::Created;
}

bool mkDirs(const char* path, bool isPrivate, bool fixExisting) {
  // Upwards to the first folder that can be made or is there, then down again.
  std::vector<String> missing;
  String current(path);
  MkDirOutcome outcome = tryMkDir(path, isPrivate, fixExisting);
  while (outcome == MkDirOutcome::Failed) {
    if (errno != ENOENT || current == "/") {
      throw SystemExceptionFmt("mkDir(%s)", errno, current.get());
    }
    missing.push_back(current);
    current = fileDirName(current.get());
    outcome = tryMkDir(current.get(), isPrivate, false);
  }
  bool created = outcome == MkDirOutcome::Created;
  for (; !missing.empty(); missing.pop_back()) {
    created = mkDir(missing.back().get(), isPrivate, fixExisting && missing.size() == 1);
  }
  return created;
}

bool mkDirMatchParent(const char* path, bool isPrivate) {
  // Private at first: its permissions widen only when it has its owner.
  if (!mkDir(path, true, false)) {
    return false;
  }
  struct stat parent;
  if (::stat(fileDirName(path).get(), &parent) != 0) {
    throw SystemException("mkDirMatchParent/stat", errno);
  }
  if (::chown(path, parent.st_uid, parent.st_gid) != 0) {
    throw SystemException("mkDirMatchParent/chown", errno);
  }
  if (::chmod(path, parent.st_mode & (isPrivate ? 07700 : 07755)) != 0) {
    throw SystemException("mkDirMatchParent/chmod", errno);
  }
  return true;
}

void rmDir(const char* path, bool recursive) {
  int error = 0;
  if (recursive && path[0] != '\0') {
    TreeRemover remover;
    // In a folder's own place (not above it) a link may have been put by now, and what that leads to is not ours.
    os::walkTree(path, remover, false);
    error = remover.lastError;
  } else if (::rmdir(path) != 0) {
    error = errno;
  }
  if (error != 0) {
    throw SystemExceptionFmt("rmDir(%s)", error, path);
  }
}

String fileMakeUnique(const char* dir, const char* name, const char* open, const char* close, int limit) {
  const String copy = fileSanitiseName(name, '-');
  const std::string_view all = copy.orEmpty();
  const std::string_view base = all.substr(0, all.rfind('.'));
  const std::string_view extension = all.substr(base.size());  // with its dot

  std::string candidate(dir);
  candidate += '/';
  candidate += base;
  const std::size_t length = candidate.size();
  // In 64 bits, for a limit of INT_MAX is allowed.
  for (std::int64_t n = 0; n <= limit; ++n) {
    if (n > 0) {
      candidate.resize(length);
      candidate.append(open).append(std::to_string(n)).append(close);
    }
    candidate += extension;
    if (!fileExists(candidate.c_str())) {
      return String(std::string_view(candidate));
    }
  }
  throw Exception("Too many files with same name");
}

String fileFreeName(const char* dir, const char* name) {
  return fileMakeUnique(dir, name, "(", ")", 99);
}

String fileSearchPath(const std::vector<String>& dirs, const char* name) {
  for (const String& dir : dirs) {
    String path = fileJoin(dir.get(), name);
    if (fileExistsNoThrow(path.get())) {
      return path;
    }
  }
  return nullptr;
}

String fileFindInTree(const char* dir, const char* name) try {
  // The names first, so that no descriptor stays open for each level.
  for (const std::string& element : elementsOf(dir)) {
    String path = fileJoin(dir, element.c_str());
    if (fileIsDir(path.get())) {
      String found = fileFindInTree(path.get(), name);
      if (!found.isNull()) {
        return found;
      }
    }
    if (element == name && fileExistsNoThrow(path.get())) {
      return path;
    }
  }
  return nullptr;
} catch (const Exception&) {
  return nullptr;
}

}  // namespace plat
