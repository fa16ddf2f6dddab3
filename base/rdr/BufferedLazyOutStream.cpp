#include "base/rdr/BufferedLazyOutStream.h"

namespace rdr {

void BufferedLazyOutStream::setLazy(bool lazy) {
  setWaitOnWrite(!lazy);
  // Not flush(): a handler may come or go while a frame is under construction, and getPtr() is where that begins.
  writeAll(waitOnWrite());
}

}  // namespace rdr
