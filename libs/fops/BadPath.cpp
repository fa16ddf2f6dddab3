#include "libs/fops/BadPath.h"

namespace fops {

BadPath::BadPath(const char* reason) : plat::Exception(reason, "BadPath") {}

}  // namespace fops
