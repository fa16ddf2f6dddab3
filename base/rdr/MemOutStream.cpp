#include "base/rdr/MemOutStream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "base/plat/DString.h"
#include "base/rdr/exceptions.h"

namespace rdr {

MemOutStream::MemOutStream(int initialCapacity, int limit) : maxSize(std::max(limit, 0)) {
  capacity = initialCapacity < 0 ? 256 : initialCapacity;
  if (capacity > 0) {
    start = mallocBytes(static_cast<std::size_t>(capacity));
  }
  ptr = start.get();
  setEnd();
}

void MemOutStream::setEnd() noexcept {
  end = start.get() + (maxSize > 0 ? std::min(maxSize, capacity) : capacity);
}

void MemOutStream::writeBytes(const void* data, int length) {
  if (length <= 0) {
    return;
  }
  if (room() < length) {
    overrun(length, 1);
  }
  std::memcpy(ptr, data, static_cast<std::size_t>(length));
  ptr += length;
}

std::uint32_t MemOutStream::length() {
  return static_cast<std::uint32_t>(ptr - start.get());
}

int MemOutStream::spaceLeft() {
  return maxSize == 0 ? INT_MAX : maxSize - static_cast<int>(ptr - start.get());
}

int MemOutStream::overrun(int itemSize, int nItems) {
  const std::int64_t used = ptr - start.get();
  const std::int64_t limit = maxSize > 0 ? maxSize : INT_MAX;
  if (used + itemSize > limit) {
    throw OutStreamFull();
  }
  // Twice the capacity at least, so that many small writes do not copy the contents each time.
  const std::int64_t wanted = used + std::int64_t{itemSize} * nItems;
  const std::int64_t newCapacity = std::max(wanted, std::int64_t{capacity} * 2);
  reallocate(static_cast<int>(std::min(newCapacity, limit)));
  return nItems;
}

void MemOutStream::reallocate(int newCapacity) {
  const auto used = static_cast<std::size_t>(ptr - start.get());
  start.reset(static_cast<std::uint8_t*>(plat::reallocOrDie(start.release(), static_cast<std::size_t>(newCapacity))));
  capacity = newCapacity;
  ptr = start.get() + used;
  setEnd();
}

void MemOutStream::setMaxSize(int limit) noexcept {
  maxSize = std::max(limit, 0);
  setEnd();
}

MallocBytes MemOutStream::takeBuffer() noexcept {
  capacity = 0;
  ptr = nullptr;
  end = nullptr;
  return std::move(start);
}

void MemOutStream::takeInto(plat::MBuf<unsigned char>& buffer) {
  const int size = static_cast<int>(ptr - start.get());
  buffer.adopt(takeBuffer().release(), size);
}

void MemOutStream::ensureNul() {
  if (ptr != start.get() && ptr[-1] == 0) {
    return;
  }
  const int limit = maxSize;
  if (limit > 0 && limit < INT_MAX) {
    setMaxSize(limit + 1);
  }
  try {
    writeU8(0);
  } catch (...) {
    setMaxSize(limit);
    throw;
  }
  setMaxSize(limit);
}

void MemOutStream::takeInto(plat::DString& text) {
  ensureNul();
  // The terminator may lie one byte past the limit, and with that past the window.
  const auto size = std::max(end, ptr) - start.get();
  text.adopt(reinterpret_cast<char*>(takeBuffer().release()), static_cast<int>(size));
}

}  // namespace rdr
