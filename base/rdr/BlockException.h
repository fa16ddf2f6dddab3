#pragma once

#include "base/plat/Exception.h"

namespace rdr {

/// Control flow, no failure: the bytes are not there yet. The stream that raised it stands at its last checkpoint
/// again, so its reader returns to the event loop and parses from there once more has come. It has no type word.
class BlockException : public plat::Exception {
public:
  BlockException() noexcept : Exception("Reading from InStream would block") {}
};

}  // namespace rdr
