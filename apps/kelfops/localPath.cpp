#include "apps/kelfops/localPath.h"

#include <filesystem>

#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"

std::string joinLocalPath(const std::string& folder, const std::string& name) {
  return plat::fileJoin(folder.c_str(), name.c_str()).get();
}

bool isWithin(const std::string& place, const std::string& folder) {
  std::error_code error;
  const std::string top = std::filesystem::canonical(folder, error);
  // With a slash at the end of both, "ab" does not lie in "a".
  return !error &&
         joinLocalPath(std::filesystem::weakly_canonical(place, error), "").starts_with(joinLocalPath(top, ""));
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
