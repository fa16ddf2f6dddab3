// The checks of client paths, and the conversions that rely on them: what passes must stay inside the exported tree.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/plat/Exception.h"
#include "libs/fops/exceptions.h"
#include "libs/fops/local/LocalFsRoot.h"
#include "libs/fops/path.h"

namespace {

template <class Check>
bool passes(const Check& check) {
  try {
    check();
    return true;
  } catch (const fops::BadPath&) {
    return false;
  }
}

void require(bool condition) {
  if (!condition)
    std::abort();
}

bool climbs(const std::string& path) {
  const std::string framed = '/' + path + '/';
  return path.front() == '/' || framed.find("/../") != std::string::npos || framed.find("/./") != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path(reinterpret_cast<const char*>(data), size);
  const char* text = path.c_str();
  const std::string seen = text;  // up to the first zero byte, as the checks see it
  const bool strict = passes([&] { fops::checkPath(text); });
  const bool lenient = passes([&] { fops::checkDirPath(text); });
  require(lenient || !strict);
  if (!lenient)
    return 0;
  require(seen.empty() || !climbs(seen));
  for (const char* top : {"/", "/srv/data", "/srv/data/"}) {
    const fops::LocalFsRoot root(top);
    const plat::String local = root.toLocalPath(text);
    require(local.view().starts_with(top));
    if (strict)
      require(root.toClientPath(local.get(), true) == text);
  }
  return 0;
}
