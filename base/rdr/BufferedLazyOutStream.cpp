#include "base/rdr/BufferedLazyOutStream.h"

namespace rdr {

void BufferedLazyOutStream::setLazy(bool lazy) {
  setWaitOnWrite(!lazy);
  writeAll(waitOnWrite());
}

}  // namespace rdr
