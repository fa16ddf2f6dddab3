#include "base/os/info/programPath.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "base/os/info/AppInfo.h"
#include "base/plat/Exception.h"
#include "base/plat/exceptions.h"
#include "base/plat/file/fileLinks.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/strings.h"

namespace os {

namespace {

enum class Found { Nothing, Other, Executable };

Found look(const char* path) noexcept {
  struct stat info = {};
  if (::stat(path, &info) != 0) {
    return Found::Nothing;
  }
  return S_ISREG(info.st_mode) && ::access(path, X_OK) == 0 ? Found::Executable : Found::Other;
}

plat::String searchInPath(const char* name) {
  plat::String path(std::getenv("PATH"));
  for (char* cursor = path.data(); cursor != nullptr;) {
    const char* const element = plat::strToken(cursor, ':', false);
    if (element == nullptr) {
      break;
    }
    // Only a shell expands it. Taken as it is, it would be a folder of that name below the working one.
    if (*element == '~') {
      throw plat::Exception("PATH contains invalid '~' character");
    }
    // An empty element, by custom the working folder, leads to "/" here.
    plat::String candidate = plat::fileJoin(element, name);
    switch (look(candidate.get())) {
      case Found::Nothing:
        continue;
      case Found::Other:
        return nullptr;
      case Found::Executable:
        return plat::fileAbsPath(candidate.get());
    }
  }
  return nullptr;
}

}  // namespace

const plat::String& programPath() {
  // By the system and not by argv[0], which the caller chooses. Kept: once the file is deleted or replaced, as an
  // update does, the system's answer leads nowhere.
  static const plat::String path = plat::fileAbsPath("/proc/self/exe");
  return path;
}

plat::String programDir() {
  return plat::fileDirName(programPath().get());
}

plat::String programDirFile() {
  return plat::fileJoin(programDir().get(), AppInfo::app());
}

plat::String findExecutable(const char* name, bool searchPath) {
  if (name == nullptr) {
    return nullptr;
  }
  if (std::strchr(name, '/') != nullptr) {
    return look(name) == Found::Executable ? plat::fileAbsPath(name) : plat::String();
  }
  return searchPath ? searchInPath(name) : plat::String();
}

plat::String findProgram(const char* name, bool throwIfMissing, bool searchPath) {
  if (name == nullptr) {
    return programPath();
  }
  plat::String found;
  // Our own folder first, so that PATH cannot put something else in the place of a program of the product.
  if (!plat::isAbsolutePath(name)) {
    found = findExecutable(plat::fileJoin(programDir().get(), name).get(), false);
  }
  if (found.isNull()) {
    found = findExecutable(name, searchPath);
  }
  if (found.isNull() && throwIfMissing) {
    throw plat::SystemExceptionFmt("%s does not exist or is not executable", ENOENT, name);
  }
  return found;
}

}  // namespace os
