#pragma once

#include "base/rdr/OutStream.h"

namespace rdr {

/// Cuts a stream into messages of any length, which need not be known in advance.
///
/// Purpose:   between startMsg() and endMsg() it is an ordinary stream. It divides the message into frames, each with
///            a small header, built in place in the buffer of the stream below: the window starts behind a gap that
///            the header is put into when the frame closes. Nothing is copied.
/// Road:      io::MsgIpc begins messages and ends them, their writers write; a full window and endMsg() go on to
///            overrun() and flush() of the stream below, the link's FdOutStream.
/// Ownership: observes the stream below, which nobody else may write to while a message is open.
/// Lifecycle: a message left open is left open, also by the destructor. A write outside of a message raises
///            FrameException "FramedOutStream::endFrame: not in frame".
class FramedOutStream : public OutStream {
public:
  /// @param below may be null until setUnderlying(). @param maxPayload bytes of a frame, at least 8.
  /// @param headerSize bytes of the header.
  FramedOutStream(OutStream* below, int maxPayload, int headerSize);

  /// Payload bytes of all messages so far.
  [[nodiscard]] std::uint32_t length() override;
  /// Closes the frame, flushes the stream below and goes on with the message in a new frame; between messages it only
  /// flushes the stream below.
  void flush() override;
  [[nodiscard]] OutStream* bottom() override;
  [[nodiscard]] int spaceLeft() override;
  bool closeWrite() override;
  int overrun(int itemSize, int nItems) override;

  /// @throws FrameException "FramedOutStream::startMsg: already in msg"; plat::AssertionFail "underlying"
  void startMsg();
  /// Ends the message, and with `doFlush` flushes the stream below.
  /// @throws FrameException "FramedOutStream::endMsg: not in frame"
  void endMsg(bool doFlush);
  /// Closes the open frame; an empty one leaves nothing behind unless it is the last.
  /// @throws FrameException "FramedOutStream::endFrame: not in frame", "FramedOutStream::endFrame: no space for header"
  void endFrame(bool last);
  /// Starts afresh on another stream; a message that was open is forgotten.
  void setUnderlying(OutStream* below) noexcept;
  [[nodiscard]] bool inMsg() const noexcept { return inMsg_; }

protected:
  /// Writes a header of exactly `hdrSize_` bytes through this stream, whose getPtr() is at the gap.
  virtual void writeHeader(int frameLen, bool last, bool first) = 0;

private:
  /// Opens a frame with room for at least `minSize` bytes.
  void startFrame(int minSize);

  int maxFrameSize_;
  int hdrSize_;
  bool inMsg_ = false;
  bool inFrame_ = false;
  bool firstInMsg_ = false;  ///< no frame of this message has been closed yet
  std::uint32_t total_ = 0;  ///< payload bytes of all closed frames
  OutStream* underlying_;
};

}  // namespace rdr
