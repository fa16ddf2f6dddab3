#pragma once

#include "base/rdr/BufferedOutStream.h"

namespace rdr {

/// A buffered output stream that can leave the sending to somebody else. It starts out waiting: flush() returns when
/// all is sent. Lazy, flush() sends what the transport takes now, and the owner sends the rest when there is room.
class BufferedLazyOutStream : public BufferedOutStream {
public:
  using BufferedOutStream::BufferedOutStream;

  /// Switches, and sends pending bytes in the new way. getPtr() stays where it is.
  virtual void setLazy(bool lazy);
};

}  // namespace rdr
