#include "base/rdr/BufferedInStream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <utility>

#include "base/plat/MBuf.h"
#include "base/plat/hex.h"

namespace rdr {

BufferedInStream::BufferedInStream(int size) : bufSize(size < 0 ? DefaultBufSize : size) {
  if (bufSize > 0) {
    start = mallocBytes(static_cast<std::size_t>(bufSize));
  }
  discard();
}

BufferedInStream::BufferedInStream(BufferedInStream&& other) noexcept
    : offsetBase(other.offsetBase),
      bufSize(std::exchange(other.bufSize, 0)),
      start(std::move(other.start)),
      secure(other.secure),
      trace(other.trace) {
  if (auto* const told = std::exchange(other.observer, nullptr)) {
    told->bufferGone();  // it observes that stream, not this one
  }
  ptr = std::exchange(other.ptr, nullptr);
  end = std::exchange(other.end, nullptr);
  checkpointPtr = std::exchange(other.checkpointPtr, nullptr);
  checkpointOffset = other.checkpointOffset;
  rewindable_ = other.rewindable_;
}

BufferedInStream::~BufferedInStream() {
  if (observer) {
    observer->bufferGone();
  }
  if (secure && start) {
    plat::secureZero(start.get(), static_cast<std::size_t>(bufSize));
  }
}

std::uint32_t BufferedInStream::offset() {
  return static_cast<std::uint32_t>(ptr - start.get()) + offsetBase;
}

bool BufferedInStream::holds(const void* where) const noexcept {
  const void* const first = start.get();
  return std::greater_equal<>()(where, first) && std::less<>()(where, start.get() + bufSize);
}

void BufferedInStream::discard() noexcept {
  if (observer) {
    observer->bufferChanges();
  }
  ptr = start.get();
  end = start.get();
  checkpointPtr = start.get();
}

void BufferedInStream::compact() noexcept {
  const auto distance = checkpointPtr - start.get();
  if (distance == 0) {
    return;
  }
  if (observer) {
    observer->bufferChanges();
  }
  // From the checkpoint and not from `ptr` on: whatever has been read since may have to be read again.
  std::memmove(start.get(), checkpointPtr, static_cast<std::size_t>(end - checkpointPtr));
  ptr -= distance;
  end -= distance;
  checkpointPtr = start.get();
  offsetBase += static_cast<std::uint32_t>(distance);
}

/// Whether somebody points into the buffer and there is room enough to go on behind that.
bool BufferedInStream::mayStay(int itemSize) const noexcept {
  return observer && observer->needsBuffer() && start.get() + bufSize - end >= std::max(bufSize / 2, itemSize);
}

bool BufferedInStream::overrun(int itemSize) {
  if (!mayStay(itemSize)) {
    compact();
  }
  // An item that the buffer cannot hold is asked for as far as the buffer reaches. If that is nothing, true leaves the
  // window empty, by which check() sees that the bytes since the checkpoint have filled the buffer.
  const int needed = std::min(itemSize, static_cast<int>(start.get() + bufSize - ptr));
  while (end - ptr < needed) {
    std::uint8_t* const dest = start.get() + (end - start.get());
    const int got = readBlock(dest, static_cast<int>(start.get() + bufSize - end));
    if (got == 0) {
      if (observer && end - start.get() >= bufSize / 4) {
        observer->bufferChanges();  // not needed yet, but this is a better time than one at which data is waiting
      }
      return false;
    }
    if (trace) {
      plat::hexDumpTo(stderr, dest, static_cast<std::size_t>(got), " <-- ", nullptr);
    }
    end += got;
  }
  return true;
}

}  // namespace rdr
