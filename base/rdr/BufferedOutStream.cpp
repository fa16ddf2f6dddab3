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

// Three places in the buffer, each never ahead of the next: `start`, `sentUpTo`, `ptr`. What lies between the last two
// is pending. `sentUpTo` moves where the transport takes something, `ptr` where a writer or the frame above has
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
    : bufSize(size < 0 ? DefaultBufSize : size),
      maxBufSize(std::max(bufSize, ceiling < 0 ? maxOutBufferSize.getValueInt() : ceiling)) {
  if (bufSize > 0) {
    start = mallocBytes(static_cast<std::size_t>(bufSize));
  }
  ptr = start.get();
  sentUpTo = ptr;
  end = ptr + std::min(bufSize, maxWindow);
}

std::uint32_t BufferedOutStream::length() {
  return static_cast<std::uint32_t>(ptr - start.get()) + offsetBase;
}

void BufferedOutStream::flush() {
  tryFlush(waitOnWrite_);
}

int BufferedOutStream::nPending() {
  return static_cast<int>(ptr - sentUpTo);
}

int BufferedOutStream::spaceLeft() {
  return maxBufSize - nPending();
}

void BufferedOutStream::setThrowErrors(bool on) {
  throwErrors = on;
}

bool BufferedOutStream::writeOnce(bool needWrite) {
  const int taken = writeFromBuffer(sentUpTo, nPending(), needWrite);
  if (taken <= 0) {
    return false;
  }
  if (trace) {
    plat::hexDumpTo(stderr, sentUpTo, static_cast<std::size_t>(taken), " --> ", nullptr);
  }
  sentUpTo += taken;
  return true;
}

bool BufferedOutStream::writeAll(bool needWrite) {
  while (sentUpTo != ptr) {
    if (!writeOnce(needWrite)) {
      return false;
    }
  }
  if (sentUpTo - start.get() >= releaseSize) {
    releaseSentMemory();
  }
  return true;
}

/// The pages that a long listing has filled stay addressable and cost nothing until they are written to again.
void BufferedOutStream::releaseSentMemory() noexcept {
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  // Whole pages inside of what was sent. The last page stays: a frame that is under construction may begin in it.
  const auto first = (reinterpret_cast<std::uintptr_t>(start.get()) + pageSize - 1) / pageSize * pageSize;
  const auto last = reinterpret_cast<std::uintptr_t>(sentUpTo) / pageSize * pageSize;
  // A failure leaves the pages where they are, which does no harm.
  madvise(reinterpret_cast<void*>(first), last - first, MADV_DONTNEED);
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
  offsetBase += static_cast<std::uint32_t>(sentUpTo - start.get());
  ptr = start.get();
  sentUpTo = ptr;
  end = ptr + std::min(bufSize, maxWindow);
}

void BufferedOutStream::discardPending() noexcept {
  sentUpTo = ptr;
  resetBuffer();
}

int BufferedOutStream::writeWithBlock(const std::uint8_t* pending, int pendingLength, const std::uint8_t* block,
                                      int length) {
  return pendingLength > 0 ? writeFromBuffer(pending, pendingLength, true) : writeFromBuffer(block, length, true);
}

void BufferedOutStream::writePendingAnd(const std::uint8_t* block, int length) {
  while (length > 0) {
    const int pending = nPending();
    const int taken = writeWithBlock(sentUpTo, pending, block, length);
    const int ofPending = std::min(taken, pending);
    sentUpTo += ofPending;
    block += taken - ofPending;
    length -= taken - ofPending;
    countWritten(taken - ofPending);
  }
  tryFlush(true);  // nothing is pending: the buffer is used from its front again
}

void BufferedOutStream::copyThroughBuffer(const std::uint8_t* data, int length) {
  while (length > 0) {
    const auto piece = static_cast<int>(std::min<std::ptrdiff_t>(start.get() + bufSize - ptr, length));
    std::memcpy(ptr, data, static_cast<std::size_t>(piece));
    ptr += piece;
    end = std::max(end, ptr);
    data += piece;
    length -= piece;
    if (ptr == start.get() + bufSize) {
      tryFlush(true);
    }
  }
}

int BufferedOutStream::overrun(int itemSize, int nItems) {
  if (bufSize == 0) {
    throw OutStreamFull();
  }
  if (itemSize > maxBufSize) {
    throw plat::Exception("BufferedOutStream overrun: buffer size exceeded");
  }
  // Ahead of any growing: for a transport that keeps up the buffer stays as it is.
  tryFlush(false);
  // At the ceiling there is nothing left but to wait, which takes a byte or raises: the loop ends.
  while (itemSize > bufSize - nPending()) {
    if (bufSize < maxBufSize) {
      grow();
    } else if (!writeOnce(true)) {
      throw plat::Exception("BufferedOutStream overrun: unable to write");
    }
  }
  // Moving is put off until the room behind the pending bytes no longer makes a full window: with a slow peer they may
  // be many megabytes, and this point is reached every 16 KiB.
  const int window = std::max(itemSize, maxWindow);
  if (start.get() + bufSize - ptr < window) {
    moveToFront();
  }
  const int tail = static_cast<int>(start.get() + bufSize - ptr);
  end = ptr + std::min(window, tail);
  return std::int64_t{itemSize} * nItems <= room() ? nItems : static_cast<int>(room() / itemSize);
}

void BufferedOutStream::grow() noexcept {
  const int pending = nPending();
  // In 64 bits: twice a buffer of 1 GiB is beyond an int.
  const int newSize = static_cast<int>(std::min(std::int64_t{bufSize} * 2, std::int64_t{maxBufSize}));
  MallocBytes larger = mallocBytes(static_cast<std::size_t>(newSize));
  std::memcpy(larger.get(), sentUpTo, static_cast<std::size_t>(pending));
  offsetBase += static_cast<std::uint32_t>(sentUpTo - start.get());
  start = std::move(larger);
  bufSize = newSize;
  sentUpTo = start.get();
  ptr = sentUpTo + pending;
  end = ptr;
}

void BufferedOutStream::moveToFront() noexcept {
  const auto distance = sentUpTo - start.get();
  if (distance == 0) {
    return;
  }
  std::memmove(start.get(), sentUpTo, static_cast<std::size_t>(ptr - sentUpTo));
  offsetBase += static_cast<std::uint32_t>(distance);
  sentUpTo -= distance;
  ptr -= distance;
  end = ptr;
}

}  // namespace rdr
