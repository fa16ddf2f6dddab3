#include "apps/kelfops/localPath.h"

#include "base/plat/file.h"
#include "base/plat/filePaths.h"

std::string joinLocalPath(const std::string& folder, const std::string& name) {
  return !folder.empty() && folder.back() == '/' ? folder + name : folder + "/" + name;
}

std::string absoluteLocalPath(const std::string& path) {
  const std::string whole =
      plat::isAbsolutePath(path.c_str()) ? path : joinLocalPath(plat::getWorkingDir().get(), path);
  return plat::fileNormalise(whole.c_str()).get();
}
