#include "libs/fops/local/LocalFsRoot.h"

#include <cctype>

#include "base/plat/assert.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/file/filePaths.h"
#include "libs/fops/exceptions.h"
#include "libs/fops/path.h"

namespace fops {

namespace {

plat::StringParameter fopsDir("FopsDir", "Directory to make available via file transfer", "/", true);
plat::BoolParameter fopsCaseSensitive("_FopsCaseSensitive", "", true);

/// Byte by byte: this folds ASCII and leaves other characters as they are.
void toUpper(plat::String& text) {
  for (char* p = text.data(); p && *p; ++p) {
    *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
  }
}

}  // namespace

plat::StringParameter& fopsDirParameter() {
  return fopsDir;
}

LocalFsRoot::LocalFsRoot(const char* rootDir)
    : rootDir_(rootDir), rootDirSlash_(plat::fileJoin(rootDir, "")), rootDirMatch_(rootDirSlash_) {
  PLAT_REQUIRE_AS(plat::isAbsolutePath(rootDir), "isAbsolutePath(rootDir)", "libs/fops/LocalFsRoot", 30);
  if (!fopsCaseSensitive.getValue()) {
    toUpper(rootDirMatch_);
  }
}

plat::String LocalFsRoot::toLocalPath(const char* client) const {
  if (!client || !*client) {
    return rootDir_;
  }
  return plat::fileJoin(rootDir_.get(), client);
}

bool LocalFsRoot::isInside(const char* local) const {
  if (!plat::isAbsolutePath(local)) {
    return false;
  }
  plat::String folded(local);
  if (!fopsCaseSensitive.getValue()) {
    toUpper(folded);
  }
  // With the slash at its end, so that "/srv/database" does not pass for a part of "/srv/data".
  return folded.view().starts_with(rootDirMatch_.view());
}

plat::String LocalFsRoot::toClientPath(const char* local, bool strict) const {
  if (!isInside(local)) {
    if (strict) {
      throw BadPath("Path is not absolute or not within root dir");
    }
    return plat::String("");
  }
  const char* tail = local + rootDirSlash_.length();
  checkDirPath(tail);
  return plat::String(tail);
}

bool LocalFsRoot::isFsRoot() const noexcept {
  return rootDir_ == "/";
}

}  // namespace fops
