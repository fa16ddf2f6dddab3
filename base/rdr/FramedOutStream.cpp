#include "base/rdr/FramedOutStream.h"

#include <algorithm>

#include "base/rdr/exceptions.h"

// The stream below learns of a frame only when that is closed. Until then its getPtr() is where the gap for the header
// begins, and everything behind it is free room to it: a send by the event loop in between never takes half a frame.

namespace rdr {

FramedOutStream::FramedOutStream(OutStream* below, int maxPayload, int headerSize)
    : maxFrameSize(maxPayload), hdrSize(headerSize), underlying(below) {
  PLAT_REQUIRE(maxFrameSize >= 8);  // the widest typed value must fit in one frame
}

std::uint32_t FramedOutStream::length() {
  if (!inMsg_ || !inFrame) {
    return total;
  }
  return total + static_cast<std::uint32_t>(ptr - underlying->getPtr() - hdrSize);
}

void FramedOutStream::flush() {
  if (!inMsg_) {
    if (underlying != nullptr) {
      underlying->flush();
    }
    return;
  }
  endFrame(false);
  // Should the stream below fail, no window is left over from which a writer could go on unframed.
  ptr = end = nullptr;
  if (underlying != nullptr) {
    underlying->flush();
  }
  startFrame(1);
}

OutStream* FramedOutStream::bottom() {
  return underlying != nullptr ? underlying->bottom() : this;
}

int FramedOutStream::spaceLeft() {
  return underlying != nullptr ? std::max(underlying->spaceLeft() - hdrSize, 0) : 0;
}

bool FramedOutStream::closeWrite() {
  return underlying != nullptr && underlying->closeWrite();
}

int FramedOutStream::overrun(int itemSize, int nItems) {
  endFrame(false);
  startFrame(itemSize);
  return std::int64_t{itemSize} * nItems <= room() ? nItems : static_cast<int>(room() / itemSize);
}

void FramedOutStream::startMsg() {
  if (inMsg_) {
    throw FrameException("FramedOutStream::startMsg: already in msg");
  }
  PLAT_REQUIRE(underlying);
  inMsg_ = true;
  firstInMsg = true;
  startFrame(1);
}

void FramedOutStream::endMsg(bool doFlush) {
  if (!inFrame) {
    throw FrameException("FramedOutStream::endMsg: not in frame");
  }
  endFrame(true);
  inMsg_ = false;
  if (doFlush) {
    underlying->flush();
  }
  ptr = end = underlying->getPtr();
}

void FramedOutStream::startFrame(int minSize) {
  PLAT_REQUIRE(!inFrame);
  const std::int64_t needed = std::int64_t{hdrSize} + minSize;
  if (underlying->getEnd() - underlying->getPtr() < needed) {
    // The stream below may move its buffer and then fail: no pointer into the old one may stay behind.
    ptr = end = nullptr;
    underlying->overrun(static_cast<int>(std::min<std::int64_t>(needed, INT32_MAX)), 1);
  }
  ptr = underlying->getPtr() + hdrSize;
  end = std::min(underlying->getEnd(), ptr + maxFrameSize);
  inFrame = true;
}

void FramedOutStream::endFrame(bool last) {
  if (!inFrame) {
    throw FrameException("FramedOutStream::endFrame: not in frame");
  }
  inFrame = false;
  const int frameLen = static_cast<int>(ptr - underlying->getPtr()) - hdrSize;
  // Nothing is left behind by it: the next frame begins at the same gap.
  if (frameLen == 0 && !last) {
    return;
  }
  // The header is written like any other value, through this stream, and lands in the gap.
  std::uint8_t* const frameEnd = ptr;
  ptr = underlying->getPtr();
  if (room() < hdrSize) {
    throw FrameException("FramedOutStream::endFrame: no space for header");
  }
  writeHeader(frameLen, last, firstInMsg);
  PLAT_REQUIRE(ptr == underlying->getPtr() + hdrSize);
  total += static_cast<std::uint32_t>(frameLen);
  underlying->setPtr(frameEnd);
  firstInMsg = false;
  ptr = end = underlying->getPtr();
}

void FramedOutStream::setUnderlying(OutStream* below) noexcept {
  ptr = end = nullptr;
  inMsg_ = false;
  inFrame = false;
  underlying = below;
}

}  // namespace rdr
