#pragma once

#include "base/plat/String.h"

namespace rdr {
class InStream;
}  // namespace rdr

namespace os {

/// How a child that cannot become what it was launched for tells its parent, over a pipe that a successful exec closes:
/// the error number in 32 bits, big-endian, the text's length in 8 bits, the text.
struct StartError {
  int error = 0;      ///< the errno value
  plat::String text;  ///< what was tried
};

/// The child's side: allocates nothing and leaves a parent that has gone alone. At most 255 bytes of `text` are sent.
void writeStartError(int fd, int error, const char* text) noexcept;

/// The parent's side: waits for the record, or for the end of the stream.
/// @return false at the end of the stream: the start has succeeded.
/// @throws what the stream raises otherwise
bool readStartError(rdr::InStream& in, StartError& dest);

}  // namespace os
