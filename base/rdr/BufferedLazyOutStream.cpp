#include "base/rdr/BufferedLazyOutStream.h"

namespace rdr {

void BufferedLazyOutStream::setLazy(bool lazy) {
  waitOnWrite_ = !lazy;
  writeAll(waitOnWrite_);
}

}  // namespace rdr
