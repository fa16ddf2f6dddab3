#include "base/rdr/BufferedNonBlockableInStream.h"

namespace rdr {

void BufferedNonBlockableInStream::setNonBlocking(bool on) {
  nonBlocking = on;
  checkpoint();
  if (on) {
    rewindable_ = true;
  }
}

}  // namespace rdr
