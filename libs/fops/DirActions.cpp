#include "libs/fops/DirActions.h"

namespace fops {

void DirActions::Callback::createFolderResult(const char*, const plat::Exception&) {}

void DirActions::Callback::deleteFileOrFolderResult(const char*, const plat::Exception&) {}

void DirActions::Callback::renameFileOrFolderResult(const char*, const char*, const plat::Exception&) {}

}  // namespace fops
