#pragma once

#include "base/plat/Exception.h"

namespace rdr {

/// An output stream of limited size cannot take what was to be written; its contents are as before.
class OutStreamFull : public plat::Exception {
public:
  OutStreamFull() noexcept : Exception("OutStream full", "OutStreamFull") {}
};

}  // namespace rdr
