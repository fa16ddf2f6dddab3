#include "base/rdr/BufferedInStream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <utility>

#include "base/plat/MBuf.h"
#include "base/plat/hex.h"

namespace rdr {

BufferedInStream::BufferedInStream(int size) : bufSize_(size < 0 ? DefaultBufSize : size) {
  if (bufSize_ > 0) {
    start_ = mallocBytes(static_cast<std::size_t>(bufSize_));
  }
  discard();
}

BufferedInStream::BufferedInStream(BufferedInStream&& other) noexcept
    : offsetBase_(other.offsetBase_),
      bufSize_(std::exchange(other.bufSize_, 0)),
      start_(std::move(other.start_)),
      secure_(other.secure_),
      trace_(other.trace_) {
  if (auto* const told = std::exchange(other.observer_, nullptr)) {
    told->bufferGone();  // it observes that stream, not this one
  }
  ptr = std::exchange(other.ptr, nullptr);
  end = std::exchange(other.end, nullptr);
  checkpointPtr = std::exchange(other.checkpointPtr, nullptr);
  checkpointOffset = other.checkpointOffset;
  rewindable_ = other.rewindable_;
}

BufferedInStream::~BufferedInStream() {
  if (observer_) {
    observer_->bufferGone();
  }
  if (secure_ && start_) {
    plat::secureZero(start_.get(), static_cast<std::size_t>(bufSize_));
  }
}

std::uint32_t BufferedInStream::offset() {
  return static_cast<std::uint32_t>(ptr - start_.get()) + offsetBase_;
}

bool BufferedInStream::holds(const void* where) const noexcept {
  const void* const first = start_.get();
  return std::greater_equal<>()(where, first) && std::less<>()(where, start_.get() + bufSize_);
}

void BufferedInStream::discard() noexcept {
  if (observer_) {
    observer_->bufferChanges();
  }
  ptr = start_.get();
  end = start_.get();
  checkpointPtr = start_.get();
}

void BufferedInStream::compact() noexcept {
  const auto distance = checkpointPtr - start_.get();
  if (distance == 0) {
    return;
  }
  if (observer_) {
    observer_->bufferChanges();
  }
  // From the checkpoint and not from `ptr` on: whatever has been read since may have to be read again.
  std::memmove(start_.get(), checkpointPtr, static_cast<std::size_t>(end - checkpointPtr));
  ptr -= distance;
  end -= distance;
  checkpointPtr = start_.get();
  offsetBase_ += static_cast<std::uint32_t>(distance);
}

/// Whether somebody points into the buffer and there is room enough to go on behind that.
bool BufferedInStream::mayStay(int itemSize) const noexcept {
  return observer_ && observer_->needsBuffer() && start_.get() + bufSize_ - end >= std::max(bufSize_ / 2, itemSize);
}

bool BufferedInStream::overrun(int itemSize) {
  if (!mayStay(itemSize)) {
    compact();
  }
  // An item that the buffer cannot hold is asked for as far as the buffer reaches. If that is nothing, true leaves the
  // window empty, by which check() sees that the bytes since the checkpoint have filled the buffer.
  const int needed = std::min(itemSize, static_cast<int>(start_.get() + bufSize_ - ptr));
  while (end - ptr < needed) {
    std::uint8_t* const dest = start_.get() + (end - start_.get());
    const int got = readBlock(dest, static_cast<int>(start_.get() + bufSize_ - end));
    if (got == 0) {
      if (observer_ && end - start_.get() >= bufSize_ / 4) {
        observer_->bufferChanges();  // not needed yet, but this is a better time than one at which data is waiting
      }
      return false;
    }
    if (trace_) {
      plat::hexDumpTo(stderr, dest, static_cast<std::size_t>(got), " <-- ", nullptr);
    }
    end += got;
  }
  return true;
}

}  // namespace rdr
