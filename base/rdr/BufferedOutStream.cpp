#include "base/rdr/BufferedOutStream.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

#include <sys/mman.h>
#include <unistd.h>

#include "base/plat/Exception.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/hex.h"
#include "base/rdr/exceptions.h"

// Three places in the buffer, each never ahead of the next: `start_`, `sentUpTo_`, `ptr`. What lies between the last
// two is pending. `sentUpTo_` moves where the transport takes something, `ptr` where a writer or the frame above has
// finished something; only overrun() and tryFlush(), which are a writer's own calls, may move the bytes or begin at the
// front again.

namespace rdr {

namespace {

/// How far the window reaches past `ptr` at most.
constexpr int maxWindow = 16384;

/// From how many bytes on, once sent, the memory that held them is given back.
constexpr std::ptrdiff_t releaseSize = 1 << 20;

plat::IntParameter maxOutBufferSize(
    "MaxOutBufferSize",
    "The maximum number of bytes to buffer internally when writing to slow connections.  Larger values improve "
    "concurrency, smaller values reduce memory usage.  Changes to this setting affect new connections only.",
    134217728, true, nullptr, 16384, INT_MAX);

}  // namespace

BufferedOutStream::BufferedOutStream(int size, int ceiling)
    : bufSize_(size < 0 ? DefaultBufSize : size),
      maxBufSize_(std::max(bufSize_, ceiling < 0 ? maxOutBufferSize.getValueInt() : ceiling)) {
  if (bufSize_ > 0) {
    start_ = mallocBytes(static_cast<std::size_t>(bufSize_));
  }
  ptr = start_.get();
  sentUpTo_ = ptr;
  end = ptr + std::min(bufSize_, maxWindow);
}

std::uint32_t BufferedOutStream::length() {
  return static_cast<std::uint32_t>(ptr - start_.get()) + offsetBase_;
}

void BufferedOutStream::flush() {
  tryFlush(waitOnWrite_);
}

int BufferedOutStream::nPending() {
  return static_cast<int>(ptr - sentUpTo_);
}

int BufferedOutStream::spaceLeft() {
  return maxBufSize_ - nPending();
}

void BufferedOutStream::setThrowErrors(bool on) {
  throwErrors_ = on;
}

bool BufferedOutStream::writeOnce(bool needWrite) {
  const int taken = writeFromBuffer(sentUpTo_, nPending(), needWrite);
  if (taken <= 0) {
    return false;
  }
  if (trace_) {
    plat::hexDumpTo(stderr, sentUpTo_, static_cast<std::size_t>(taken), " --> ", nullptr);
  }
  sentUpTo_ += taken;
  return true;
}

bool BufferedOutStream::writeAll(bool needWrite) {
  while (sentUpTo_ != ptr) {
    if (!writeOnce(needWrite)) {
      return false;
    }
  }
  if (sentUpTo_ - start_.get() >= releaseSize) {
    releaseSentMemory();
  }
  return true;
}

/// The pages that a long listing has filled stay addressable and cost nothing until they are written to again.
void BufferedOutStream::releaseSentMemory() noexcept {
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto begin = reinterpret_cast<std::uintptr_t>(start_.get());
  // Whole pages inside of what was sent. The last page stays: a frame that is under construction may begin in it.
  const auto first = (begin + pageSize - 1) / pageSize * pageSize;
  const auto last = reinterpret_cast<std::uintptr_t>(sentUpTo_) / pageSize * pageSize;
  // A failure leaves the pages where they are, which does no harm.
  madvise(start_.get() + (first - begin), last - first, MADV_DONTNEED);
}

bool BufferedOutStream::tryFlush(bool needWrite) {
  if (!writeAll(needWrite)) {
    return false;
  }
  // Begins at the front again while nothing is pending; else the buffer would be used up to its end, and grow, without
  // need.
  resetBuffer();
  return true;
}

void BufferedOutStream::resetBuffer() noexcept {
  offsetBase_ += static_cast<std::uint32_t>(sentUpTo_ - start_.get());
  ptr = start_.get();
  sentUpTo_ = ptr;
  end = ptr + std::min(bufSize_, maxWindow);
}

void BufferedOutStream::discardPending() noexcept {
  sentUpTo_ = ptr;
  resetBuffer();
}

int BufferedOutStream::writeWithBlock(const std::uint8_t* pending, int pendingLength, const std::uint8_t* block,
                                      int length) {
  return pendingLength > 0 ? writeFromBuffer(pending, pendingLength, true) : writeFromBuffer(block, length, true);
}

void BufferedOutStream::writePendingAnd(const std::uint8_t* block, int length) {
  while (length > 0) {
    const int pending = nPending();
    const int taken = writeWithBlock(sentUpTo_, pending, block, length);
    const int ofPending = std::min(taken, pending);
    sentUpTo_ += ofPending;
    block += taken - ofPending;
    length -= taken - ofPending;
    countWritten(taken - ofPending);
  }
  tryFlush(true);  // nothing is pending: the buffer is used from its front again
}

void BufferedOutStream::copyThroughBuffer(const std::uint8_t* data, int length) {
  while (length > 0) {
    const auto piece = static_cast<int>(std::min<std::ptrdiff_t>(start_.get() + bufSize_ - ptr, length));
    std::memcpy(ptr, data, static_cast<std::size_t>(piece));
    ptr += piece;
    end = std::max(end, ptr);
    data += piece;
    length -= piece;
    if (ptr == start_.get() + bufSize_) {
      tryFlush(true);
    }
  }
}

int BufferedOutStream::overrun(int itemSize, int nItems) {
  if (bufSize_ == 0) {
    throw OutStreamFull();
  }
  if (itemSize > maxBufSize_) {
    throw plat::Exception("BufferedOutStream overrun: buffer size exceeded");
  }
  // Ahead of any growing: for a transport that keeps up the buffer stays as it is.
  tryFlush(false);
  // At the ceiling there is nothing left but to wait, which takes a byte or raises: the loop ends.
  while (itemSize > bufSize_ - nPending()) {
    if (bufSize_ < maxBufSize_) {
      grow();
    } else if (!writeOnce(true)) {
      throw plat::Exception("BufferedOutStream overrun: unable to write");
    }
  }
  // Moving is put off until the room behind the pending bytes no longer makes a full window: with a slow peer they may
  // be many megabytes, and this point is reached every 16 KiB.
  const int window = std::max(itemSize, maxWindow);
  if (start_.get() + bufSize_ - ptr < window) {
    moveToFront();
  }
  const int tail = static_cast<int>(start_.get() + bufSize_ - ptr);
  end = ptr + std::min(window, tail);
  return std::int64_t{itemSize} * nItems <= room() ? nItems : static_cast<int>(room() / itemSize);
}

void BufferedOutStream::grow() noexcept {
  const int pending = nPending();
  // In 64 bits: twice a buffer of 1 GiB is beyond an int.
  const int newSize = static_cast<int>(std::min(std::int64_t{bufSize_} * 2, std::int64_t{maxBufSize_}));
  MallocBytes larger = mallocBytes(static_cast<std::size_t>(newSize));
  std::memcpy(larger.get(), sentUpTo_, static_cast<std::size_t>(pending));
  offsetBase_ += static_cast<std::uint32_t>(sentUpTo_ - start_.get());
  start_ = std::move(larger);
  bufSize_ = newSize;
  sentUpTo_ = start_.get();
  ptr = sentUpTo_ + pending;
  end = ptr;
}

void BufferedOutStream::moveToFront() noexcept {
  const auto distance = sentUpTo_ - start_.get();
  if (distance == 0) {
    return;
  }
  std::memmove(start_.get(), sentUpTo_, static_cast<std::size_t>(ptr - sentUpTo_));
  offsetBase_ += static_cast<std::uint32_t>(distance);
  sentUpTo_ -= distance;
  ptr -= distance;
  end = ptr;
}

}  // namespace rdr
