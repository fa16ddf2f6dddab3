#pragma once

#include "base/rdr/FdInStream.h"

namespace rdr {

/// An FdInStream that closes its descriptor.
class FdInStreamOwn final : public FdInStream {
public:
  explicit FdInStreamOwn(int descriptor, int size = -1) : FdInStream(descriptor, size) { setOwnFd(true); }
};

}  // namespace rdr
