#include "base/os/startError.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <unistd.h>

#include "base/rdr/InStream.h"
#include "base/rdr/bigEndian.h"
#include "base/rdr/exceptions.h"

namespace os {

void writeStartError(int fd, int error, const char* text) noexcept {
  constexpr std::size_t MaxText = 255;
  constexpr std::size_t HeadSize = 5;
  std::uint8_t record[HeadSize + MaxText];
  const std::size_t length = std::min(std::strlen(text), MaxText);
  rdr::storeBigEndian<std::uint32_t>(record, static_cast<std::uint32_t>(error));
  record[4] = static_cast<std::uint8_t>(length);
  std::memcpy(record + HeadSize, text, length);
  // One write of less than a pipe's atomic size: the record arrives whole or not at all.
  while (::write(fd, record, HeadSize + length) < 0 && errno == EINTR) {
  }
}

bool readStartError(rdr::InStream& in, StartError& dest) {
  try {
    dest.error = in.readS32();
    dest.text = in.readShortString(false);
    return true;
  } catch (const rdr::EndOfStream&) {
    return false;
  }
}

}  // namespace os
