#pragma once

#include "base/plat/Exception.h"

namespace fops {

/// A path or name that may not be used inside the exported tree. The type word is "BadPath", the message the reason.
/// A path of a request that raises this fails that request alone.
class BadPath : public plat::Exception {
public:
  explicit BadPath(const char* reason);
};

}  // namespace fops
