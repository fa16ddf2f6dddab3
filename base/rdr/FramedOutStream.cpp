#include "base/rdr/FramedOutStream.h"

#include <algorithm>

#include "base/rdr/exceptions.h"

// The stream below learns of a frame only when that is closed. Until then its getPtr() is where the gap for the header
// begins, and everything behind it is free room to it: a send by the event loop in between never takes half a frame.

namespace rdr {

FramedOutStream::FramedOutStream(OutStream* below, int maxPayload, int headerSize)
    : maxFrameSize_(maxPayload), hdrSize_(headerSize), underlying_(below) {
  PLAT_REQUIRE_AS(maxFrameSize_ >= 8, "maxFrameSize >= 8", __FILE__,
                  __LINE__);  // the widest typed value must fit in one frame
}

std::uint32_t FramedOutStream::length() {
  if (!inMsg_ || !inFrame_) {
    return total_;
  }
  return total_ + static_cast<std::uint32_t>(ptr - underlying_->getPtr() - hdrSize_);
}

void FramedOutStream::flush() {
  if (!inMsg_) {
    if (underlying_ != nullptr) {
      underlying_->flush();
    }
    return;
  }
  endFrame(false);
  // Should the stream below fail, no window is left over from which a writer could go on unframed.
  ptr = end = nullptr;
  if (underlying_ != nullptr) {
    underlying_->flush();
  }
  startFrame(1);
}

OutStream* FramedOutStream::bottom() {
  return underlying_ != nullptr ? underlying_->bottom() : this;
}

int FramedOutStream::spaceLeft() {
  return underlying_ != nullptr ? std::max(underlying_->spaceLeft() - hdrSize_, 0) : 0;
}

bool FramedOutStream::closeWrite() {
  return underlying_ != nullptr && underlying_->closeWrite();
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
  PLAT_REQUIRE_AS(underlying_, "underlying", __FILE__, __LINE__);
  inMsg_ = true;
  firstInMsg_ = true;
  startFrame(1);
}

void FramedOutStream::endMsg(bool doFlush) {
  if (!inFrame_) {
    throw FrameException("FramedOutStream::endMsg: not in frame");
  }
  endFrame(true);
  inMsg_ = false;
  if (doFlush) {
    underlying_->flush();
  }
  ptr = end = underlying_->getPtr();
}

void FramedOutStream::startFrame(int minSize) {
  PLAT_REQUIRE_AS(!inFrame_, "!inFrame", __FILE__, __LINE__);
  const std::int64_t needed = std::int64_t{hdrSize_} + minSize;
  if (underlying_->getEnd() - underlying_->getPtr() < needed) {
    // The stream below may move its buffer and then fail: no pointer into the old one may stay behind.
    ptr = end = nullptr;
    underlying_->overrun(static_cast<int>(std::min<std::int64_t>(needed, INT32_MAX)), 1);
  }
  ptr = underlying_->getPtr() + hdrSize_;
  end = std::min(underlying_->getEnd(), ptr + maxFrameSize_);
  inFrame_ = true;
}

void FramedOutStream::endFrame(bool last) {
  if (!inFrame_) {
    throw FrameException("FramedOutStream::endFrame: not in frame");
  }
  inFrame_ = false;
  const int frameLen = static_cast<int>(ptr - underlying_->getPtr()) - hdrSize_;
  // Nothing is left behind by it: the next frame begins at the same gap.
  if (frameLen == 0 && !last) {
    return;
  }
  // The header is written like any other value, through this stream, and lands in the gap.
  std::uint8_t* const frameEnd = ptr;
  ptr = underlying_->getPtr();
  if (room() < hdrSize_) {
    throw FrameException("FramedOutStream::endFrame: no space for header");
  }
  writeHeader(frameLen, last, firstInMsg_);
  PLAT_REQUIRE_AS(ptr == underlying_->getPtr() + hdrSize_, "ptr == underlying->getPtr() + hdrSize", __FILE__, __LINE__);
  total_ += static_cast<std::uint32_t>(frameLen);
  underlying_->setPtr(frameEnd);
  firstInMsg_ = false;
  ptr = end = underlying_->getPtr();
}

void FramedOutStream::setUnderlying(OutStream* below) noexcept {
  ptr = end = nullptr;
  inMsg_ = false;
  inFrame_ = false;
  underlying_ = below;
}

}  // namespace rdr
