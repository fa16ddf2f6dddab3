#pragma once

#include "base/rdr/InStream.h"

namespace rdr {

class OutStream;

/// Shows one message of a framed stream as a stream that ends with the message, however it was cut into frames.
///
/// Purpose:   its window is a view of the window of the stream below, cut at the end of the frame. Nothing is copied.
///            A read past the end of the message raises EndOfMsg.
/// Road:      io::MsgIpc enters and leaves messages and gives this stream to the reader of each; it reads from the
///            link's FdInStream.
/// Ownership: observes the stream below, which nobody else may read from while in a message.
/// Lifecycle: startMsg() to endMsg(), again and again. checkpoint() and rewind() act only in a message. They act on the
///            stream below too, so all bytes behind the checkpoint, headers included, stay in its buffer, and a rewind
///            may lead back over several frames.
class FramedInStream : public InStream {
public:
  /// @param below may be null until setUnderlying().
  explicit FramedInStream(InStream* below) noexcept;

  [[nodiscard]] std::uint32_t offset() override;
  /// Does nothing between messages. It cannot fail: a failure is a fault of the program and ends it.
  std::uint32_t checkpoint() noexcept override;
  void rewind() override;
  /// Whether the message has no further byte; may have to look for the next frame.
  /// @throws BlockException with the stream at its checkpoint, if that has not come yet
  [[nodiscard]] bool atEnd() override;

  /// Enters the next message; true at once if already in one.
  /// @param wait with false the answer is false if no whole header is there yet; with true BlockException is raised.
  bool startMsg(bool wait);
  /// Leaves the message. @throws FrameException "FramedInStream::endMsg: data left in msg", still in the message
  void endMsg();
  /// Consumes the rest of the message, with a checkpoint behind each piece.
  void skipRestOfMsg();
  /// Writes the rest of the message to `out`, with a checkpoint behind each piece.
  void copyRestOfMsg(OutStream& out);
  /// Starts afresh, between messages, on another stream.
  void setUnderlying(InStream* below) noexcept;
  [[nodiscard]] InStream* underlying() const noexcept { return underlying_; }
  [[nodiscard]] bool inMsg() const noexcept { return inMsg_; }

protected:
  bool overrun(int itemSize) override;
  /// Reads one header from underlying(), and sets both results only when it is whole.
  virtual void readHeader(int& payloadSize, bool& last, bool first) = 0;

private:
  void sync();
  void updateWindow();
  bool advanceFrames(bool throwIfBlock);
  bool overrunInMsg(int itemSize);
  template <class Step>
  bool thenUpdateWindow(Step step);
  template <class Take>
  void takeRestOfMsg(Take take);

  bool inMsg_ = false;
  bool lastFrame_ = false;       ///< the current frame is the message's last
  bool savedLastFrame_ = false;  ///< lastFrame_ at the checkpoint; so the other saved fields
  int frameSize_ = 0;            ///< bytes of the current frame behind the stream below's position
  int savedFrameSize_ = 0;
  std::uint32_t offsetBase_ = 0;  ///< payload bytes before the stream below's position
  std::uint32_t savedOffsetBase_ = 0;
  InStream* underlying_;
};

}  // namespace rdr
