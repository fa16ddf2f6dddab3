#include "base/rdr/MemOutStream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "base/plat/DString.h"
#include "base/rdr/exceptions.h"

namespace rdr {

MemOutStream::MemOutStream(int initialCapacity, int limit) : maxSize_(std::max(limit, 0)) {
  capacity_ = initialCapacity < 0 ? 256 : initialCapacity;
  if (capacity_ > 0) {
    start_ = mallocBytes(static_cast<std::size_t>(capacity_));
  }
  ptr = start_.get();
  setEnd();
}

/// The window ends at the limit, even if the buffer goes on: the inline writers look at nothing else.
void MemOutStream::setEnd() noexcept {
  end = start_.get() + (maxSize_ > 0 ? std::min(maxSize_, capacity_) : capacity_);
}

void MemOutStream::writeBytes(const void* data, int length) {
  if (length <= 0) {
    return;
  }
  if (room() < length) {
    // As one item, so that it goes in whole or not at all.
    overrun(length, 1);
  }
  std::memcpy(ptr, data, static_cast<std::size_t>(length));
  ptr += length;
}

std::uint32_t MemOutStream::length() {
  return static_cast<std::uint32_t>(ptr - start_.get());
}

int MemOutStream::spaceLeft() {
  return maxSize_ == 0 ? INT_MAX : maxSize_ - static_cast<int>(ptr - start_.get());
}

int MemOutStream::overrun(int itemSize, int nItems) {
  const std::int64_t used = ptr - start_.get();
  const std::int64_t limit = maxSize_ > 0 ? maxSize_ : INT_MAX;
  // One item is all that is promised; writers of several look at the window again. Sums are 64 bits wide, so that none
  // wraps on its way to the limit.
  if (used + itemSize > limit) {
    throw OutStreamFull();
  }
  // Twice the capacity at least, so that many small writes do not copy the contents each time.
  const std::int64_t wanted = used + std::int64_t{itemSize} * nItems;
  const std::int64_t newCapacity = std::max(wanted, std::int64_t{capacity_} * 2);
  reallocate(static_cast<int>(std::min(newCapacity, limit)));
  return nItems;
}

void MemOutStream::reallocate(int newCapacity) {
  const auto used = static_cast<std::size_t>(ptr - start_.get());
  start_.reset(static_cast<std::uint8_t*>(plat::reallocOrDie(start_.release(), static_cast<std::size_t>(newCapacity))));
  capacity_ = newCapacity;
  ptr = start_.get() + used;
  setEnd();
}

void MemOutStream::setMaxSize(int limit) noexcept {
  maxSize_ = std::max(limit, 0);
  setEnd();
}

MallocBytes MemOutStream::takeBuffer() noexcept {
  capacity_ = 0;
  ptr = nullptr;
  end = nullptr;
  return std::move(start_);
}

void MemOutStream::takeInto(plat::MBuf<unsigned char>& buffer) {
  const int size = static_cast<int>(ptr - start_.get());
  buffer.adopt(takeBuffer().release(), size);
}

void MemOutStream::ensureNul() {
  if (ptr != start_.get() && ptr[-1] == 0) {
    return;
  }
  // The terminator belongs to no contents, so contents that just fit may have one. A limit of 0 is none and stays.
  const int limit = maxSize_;
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
  const auto size = std::max(end, ptr) - start_.get();
  text.adopt(reinterpret_cast<char*>(takeBuffer().release()), static_cast<int>(size));
}

}  // namespace rdr
