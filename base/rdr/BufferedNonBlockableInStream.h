#pragma once

#include "base/rdr/BufferedInStream.h"

namespace rdr {

/// A buffered input stream that either waits for data or answers at once that there is none.
///
/// The derived class honours the flag in readBlock(): with it set, a read that finds nothing gives 0.
class BufferedNonBlockableInStream : public BufferedInStream {
public:
  using BufferedInStream::BufferedInStream;

  /// Sets the flag and takes a checkpoint. Turning it on makes the stream rewindable; turning it off leaves that as it
  /// is.
  virtual void setNonBlocking(bool on);

protected:
  bool nonBlocking = false;
};

}  // namespace rdr
