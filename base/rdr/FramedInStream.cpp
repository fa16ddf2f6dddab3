#include "base/rdr/FramedInStream.h"

#include "base/rdr/OutStream.h"
#include "base/rdr/exceptions.h"

// Two positions are kept: `ptr` here, and that of the stream below, which stays where this one last synced. sync()
// takes it along, updateWindow() takes back what has become of the window; a step below stands between the two. A block
// below has taken the stream below back to its checkpoint, while the fields here still tell of what has been read
// since. Only rewind() brings both together again: InStream::check() calls it for overrun(), atEnd() for itself.

namespace rdr {

FramedInStream::FramedInStream(InStream* below) noexcept : underlying_(below) {}

/// Brings the stream below up to where this one has read.
void FramedInStream::sync() {
  const auto delta = ptr - underlying_->getPtr();
  frameSize_ -= static_cast<int>(delta);
  PLAT_REQUIRE_AS(frameSize_ >= 0, "frameSize >= 0", __FILE__, __LINE__);
  offsetBase_ += static_cast<std::uint32_t>(delta);
  underlying_->setPtr(ptr);
}

/// Takes the window anew from the stream below, whose buffer may have moved.
void FramedInStream::updateWindow() {
  if (underlying_ == nullptr || !inMsg_) {
    ptr = end = nullptr;
    return;
  }
  ptr = underlying_->getPtr();
  end = underlying_->getEnd();
  if (end - ptr > frameSize_) {
    end = ptr + frameSize_;
  }
  PLAT_REQUIRE(end >= ptr);
}

/// Does `step` and takes the window anew whether it comes back or raises.
template <class Step>
bool FramedInStream::thenUpdateWindow(Step step) {
  bool result = false;
  try {
    result = step();
  } catch (...) {
    updateWindow();
    throw;
  }
  updateWindow();
  return result;
}

/// Goes on to the next frame that has payload, if this one is used up and not the last. Needs updateWindow() after it.
bool FramedInStream::advanceFrames(bool throwIfBlock) {
  sync();
  while (!lastFrame_ && frameSize_ == 0) {
    if (underlying_->nUnread() == 0 && !underlying_->check(throwIfBlock, 1)) {
      return false;
    }
    readHeader(frameSize_, lastFrame_, false);
  }
  return true;
}

std::uint32_t FramedInStream::offset() {
  if (!inMsg_) {
    return offsetBase_;
  }
  return offsetBase_ + static_cast<std::uint32_t>(ptr - underlying_->getPtr());
}

std::uint32_t FramedInStream::checkpoint() noexcept {
  if (!inMsg_) {
    return offsetBase_;
  }
  try {
    sync();
    underlying_->checkpoint();
  } catch (const plat::AssertionFail& failure) {
    // The stream below has been moved by somebody else; from here on every byte would be taken for another.
    plat::assertFailed(failure);
  }
  checkpointOffset = offset();
  savedLastFrame_ = lastFrame_;
  savedFrameSize_ = frameSize_;
  savedOffsetBase_ = offsetBase_;
  return checkpointOffset;
}

void FramedInStream::rewind() {
  if (!inMsg_) {
    return;
  }
  thenUpdateWindow([this] {
    underlying_->rewind();
    lastFrame_ = savedLastFrame_;
    frameSize_ = savedFrameSize_;
    offsetBase_ = savedOffsetBase_;
    return true;
  });
}

bool FramedInStream::atEnd() {
  PLAT_REQUIRE(inMsg_);
  try {
    thenUpdateWindow([this] { return advanceFrames(true); });
  } catch (const BlockException&) {
    rewind();
    throw;
  }
  return frameSize_ == 0;
}

bool FramedInStream::overrun(int itemSize) {
  PLAT_REQUIRE(inMsg_);
  sync();
  return thenUpdateWindow([this, itemSize] { return overrunInMsg(itemSize); });
}

bool FramedInStream::overrunInMsg(int itemSize) {
  if (frameSize_ >= itemSize) {
    return underlying_->nUnread() >= itemSize || underlying_->check(false, itemSize);
  }
  // The item reaches past this frame. The reader takes what is left of it piecemeal and comes back.
  if (ptr != end) {
    return true;
  }
  if (!advanceFrames(false)) {
    return false;
  }
  if (frameSize_ == 0) {
    throw EndOfMsg();
  }
  return underlying_->nUnread() > 0 || underlying_->check(false, 1);
}

bool FramedInStream::startMsg(bool wait) {
  if (inMsg_) {
    return true;
  }
  PLAT_REQUIRE_AS(underlying_ != nullptr, "underlying", "base/rdr/FramedInStream", __LINE__);
  if (!wait && underlying_->nUnread() == 0 && !underlying_->check(false, 1)) {
    return false;
  }
  try {
    readHeader(frameSize_, lastFrame_, true);
  } catch (const BlockException&) {
    // Half a header has come. The stream below is back at its checkpoint, from where it will be read as a whole.
    if (wait) {
      throw;
    }
    return false;
  }
  inMsg_ = true;
  updateWindow();
  checkpoint();
  return true;
}

void FramedInStream::endMsg() {
  if (!atEnd()) {
    throw FrameException("FramedInStream::endMsg: data left in msg");
  }
  checkpoint();
  inMsg_ = false;
  updateWindow();
}

template <class Take>
void FramedInStream::takeRestOfMsg(Take take) {
  while (!atEnd()) {
    if (ptr == end) {
      check(true, 1);
    }
    take(ptr, nUnread());
    ptr = end;
    checkpoint();
  }
}

void FramedInStream::skipRestOfMsg() {
  takeRestOfMsg([](const std::uint8_t*, int) {});
}

void FramedInStream::copyRestOfMsg(OutStream& out) {
  takeRestOfMsg([&out](const std::uint8_t* bytes, int length) { out.writeBytes(bytes, length); });
}

void FramedInStream::setUnderlying(InStream* below) noexcept {
  ptr = end = nullptr;
  inMsg_ = false;
  underlying_ = below;
}

}  // namespace rdr
