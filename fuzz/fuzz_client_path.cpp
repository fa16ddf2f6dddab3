// The checks of client paths, and the conversions that rely on them: what passes must stay inside the exported tree.

#include "fuzz/target.h"
#include "libs/fops/exceptions.h"
#include "libs/fops/local/LocalFsRoot.h"
#include "libs/fops/path.h"

namespace {

bool passes(void (*check)(const char*), const char* path) {
  try {
    check(path);
    return true;
  } catch (const fops::BadPath&) {
    return false;
  }
}

bool climbs(const std::string& path) {
  const std::string framed = '/' + path + '/';
  return path.front() == '/' || framed.find("/../") != std::string::npos || framed.find("/./") != std::string::npos;
}

}  // namespace

void fuzz::run(std::string_view input) {
  const std::string bytes(input);
  const char* const path = bytes.c_str();
  const std::string seen = path;  // up to the first zero byte, as the checks see it
  const bool strict = passes(fops::checkPath, path);
  const bool lenient = passes(fops::checkDirPath, path);
  require(lenient || !strict);
  if (!lenient) {
    return;
  }
  require(seen.empty() || !climbs(seen));
  for (const char* top : {"/", "/srv/data", "/srv/data/"}) {
    const fops::LocalFsRoot root(top);
    const plat::String local = root.toLocalPath(path);
    require(local.view().starts_with(top));
    require(!strict || root.toClientPath(local.get(), true) == path);
  }
}
