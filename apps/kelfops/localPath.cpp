#include "apps/kelfops/localPath.h"

#include <filesystem>

#include <sys/stat.h>

#include "base/plat/file.h"
#include "base/plat/filePaths.h"

std::string joinLocalPath(const std::string& folder, const std::string& name) {
  return !folder.empty() && folder.back() == '/' ? folder + name : folder + "/" + name;
}

bool isWithin(const std::string& place, const std::string& folder) {
  struct stat wanted = {};
  if (stat(folder.c_str(), &wanted) != 0) {
    return false;
  }
  std::error_code error;  // leaves no path to climb
  std::string path = std::filesystem::weakly_canonical(absoluteLocalPath(place), error);
  for (; !path.empty(); path = plat::fileDirName(path.c_str()).get()) {
    struct stat found = {};
    if (stat(path.c_str(), &found) == 0 && found.st_dev == wanted.st_dev && found.st_ino == wanted.st_ino) {
      return true;
    }
    if (path == "/") {
      break;
    }
  }
  return false;
}

std::string withoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

std::string absoluteLocalPath(const std::string& path) {
  const std::string whole =
      plat::isAbsolutePath(path.c_str()) ? path : joinLocalPath(plat::getWorkingDir().get(), path);
  return plat::fileNormalise(whole.c_str()).get();
}
