#pragma once

#include "base/plat/Exception.h"

namespace fops {

/// A path or name that may not be used inside the exported tree. The type word is "BadPath", the message the reason.
/// A path of a request that raises this fails that request alone.
class BadPath : public plat::Exception {
public:
  explicit BadPath(const char* reason);
};

/// A path that is neither a regular file nor a directory: a pipe, a socket, a device. Such things cannot travel, so a
/// listing leaves them out in silence and a download refuses them. It has no type word of its own.
class SpecialFileException : public plat::Exception {
public:
  explicit SpecialFileException(const char* format, ...) __attribute__((format(printf, 2, 3)));
};

}  // namespace fops
