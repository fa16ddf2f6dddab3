#include "base/rdr/OutStream.h"

#include <algorithm>
#include <cstring>

namespace rdr {

OutStream::~OutStream() = default;

void OutStream::writeBytes(const void* data, int length) {
  const auto* from = static_cast<const std::uint8_t*>(data);
  while (length > 0) {
    if (room() <= 0) {
      overrun(1, length);
    }
    const auto piece = std::clamp<std::ptrdiff_t>(room(), 0, length);
    if (piece > 0) {
      std::memcpy(ptr, from, static_cast<std::size_t>(piece));
    }
    ptr += piece;
    from += piece;
    length -= static_cast<int>(piece);
  }
}

void OutStream::flush() {}

OutStream* OutStream::bottom() {
  return this;
}

int OutStream::nPending() {
  OutStream* const lowest = bottom();
  return lowest == this ? 0 : lowest->nPending();
}

bool OutStream::closeWrite() {
  return false;
}

void OutStream::setThrowErrors(bool) {}

void OutStream::writeString(const char* text, int maxLength) {
  std::size_t length = 0;
  if (text != nullptr) {
    length = strnlen(text, maxLength < 0 ? std::size_t{INT32_MAX} : static_cast<std::size_t>(maxLength));
  }
  writeU32(static_cast<std::uint32_t>(length));
  writeBytes(text, static_cast<int>(length));
}

void OutStream::writeShortString(const char* text) {
  const std::size_t length = text != nullptr ? strnlen(text, 255) : 0;
  writeU8(static_cast<std::uint8_t>(length));
  writeBytes(text, static_cast<int>(length));
}

void OutStream::padBytes(int n) {
  while (n > 0) {
    if (room() <= 0) {
      overrun(1, n);
    }
    const auto piece = std::clamp<std::ptrdiff_t>(room(), 0, n);
    ptr += piece;
    n -= static_cast<int>(piece);
  }
}

}  // namespace rdr
