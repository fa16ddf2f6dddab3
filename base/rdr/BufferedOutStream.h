#pragma once

#include "base/rdr/OutStream.h"
#include "base/rdr/mallocBytes.h"

namespace rdr {

/// An output stream with a buffer between the writer and a transport, which decides what a full buffer means.
///
/// Purpose:   a derived class supplies writeFromBuffer() and nothing else. When the window is full the stream first
///            sends what the transport takes without waiting, then doubles the buffer up to its ceiling, and only at
///            the ceiling waits. So writers hardly ever wait: a slow peer costs memory before it costs time.
/// Road:      FramedOutStream calls overrun() and flush(), io::FdIo writeAll() when there is room again; all of them
///            end in writeFromBuffer(), for the link that of FdOutStream.
/// Ownership: owns the buffer. It never shrinks, but once all of a large one has been sent, the memory behind it goes
///            back to the system. The destructor sends nothing; a derived class that owes its transport the pending
///            bytes sends them in its own.
/// The window never reaches more than 16384 bytes past getPtr() (or one item, if that is larger), however large the
/// buffer has become: data keeps moving while a large buffer is being filled.
class BufferedOutStream : public OutStream {
public:
  static constexpr int DefaultBufSize = 16384;

  /// @param size    bytes of the buffer at first; negative for 16384, 0 for a stream that takes nothing.
  /// @param ceiling bytes that it may grow to, at least `size`; negative for what the parameter MaxOutBufferSize says
  ///                now.
  explicit BufferedOutStream(int size = -1, int ceiling = -1);

  [[nodiscard]] std::uint32_t length() override;
  /// Sends what is pending: all of it if the stream waits on writes, otherwise what the transport takes now.
  void flush() override;
  [[nodiscard]] int nPending() override;
  [[nodiscard]] int spaceLeft() override;
  void setThrowErrors(bool on) override;
  /// @throws OutStreamFull without a buffer
  /// @throws plat::Exception "BufferedOutStream overrun: buffer size exceeded" for an item above the ceiling; "...:
  ///         unable to write" if the transport takes nothing at the ceiling; and what writeFromBuffer() raises
  int overrun(int itemSize, int nItems) override;

  /// Sends pending bytes until none are left, and then uses the buffer from its front again. With `needWrite` false it
  /// does not wait. @return false if the transport took nothing while bytes were left.
  bool tryFlush(bool needWrite);
  /// tryFlush() that leaves getPtr() where it is, for a caller outside of the writer's own calls: a frame may be
  /// under construction there.
  bool writeAll(bool needWrite);
  /// Gives the transport the pending bytes once. @return false if it took nothing.
  bool writeOnce(bool needWrite);

  /// Drops the pending bytes.
  void discardPending() noexcept;

  /// How long a waiting write may take, in milliseconds; negative for no limit. 30000 at first.
  void setTimeout(int ms) noexcept { timeoutMs_ = ms; }
  /// Whether flush() waits until all is sent.
  [[nodiscard]] bool waitOnWrite() const noexcept { return waitOnWrite_; }
  /// Whether failures of the transport are raised: always in a stream that waits, else as set by setThrowErrors().
  [[nodiscard]] bool doesThrowErrors() const noexcept { return throwErrors_ || waitOnWrite_; }
  /// Dumps every block that is written to standard error, for debugging.
  void setTrace(bool on) noexcept { trace_ = on; }

protected:
  /// Hands at most `len` bytes, at least 1, to the transport. With `needWrite` false it must not wait; with true it may
  /// wait up to timeout(), and takes at least one byte or raises. @return how many it took.
  virtual int writeFromBuffer(const std::uint8_t* data, int len, bool needWrite) = 0;
  /// Hands the pending bytes, of which there may be none, and a block behind them to the transport, in one call if it
  /// has such a one. Takes at least one byte or raises. @return how many it took of both. The base asks
  /// writeFromBuffer() for the pending bytes as long as there are any.
  virtual int writeWithBlock(const std::uint8_t* pending, int pendingLength, const std::uint8_t* block, int length);

  /// Writes what is pending and the block, of at least one byte, without copying it. Nothing is pending afterwards.
  /// Not for a stream that is traced.
  void writePendingAnd(const std::uint8_t* block, int length);
  /// Copies into the buffer, up to its very end and not only to that of the window, and writes it each time it is
  /// full. Not for a stream without a buffer.
  void copyThroughBuffer(const std::uint8_t* data, int length);
  /// Counts bytes that were written past the buffer, so that length() knows of them.
  void countWritten(int length) noexcept { offsetBase_ += static_cast<std::uint32_t>(length); }

  void setWaitOnWrite(bool wait) noexcept { waitOnWrite_ = wait; }
  [[nodiscard]] int timeout() const noexcept { return timeoutMs_; }
  [[nodiscard]] int bufferSize() const noexcept { return bufSize_; }
  [[nodiscard]] bool traced() const noexcept { return trace_; }

private:
  void resetBuffer() noexcept;
  void releaseSentMemory() noexcept;
  void grow() noexcept;
  void moveToFront() noexcept;

  int bufSize_;                   ///< present size of the buffer
  int maxBufSize_;                ///< ceiling of bufSize_
  std::uint32_t offsetBase_ = 0;  ///< bytes that have left the buffer
  int timeoutMs_ = 30000;
  MallocBytes start_;
  std::uint8_t* sentUpTo_;  ///< first byte not handed to the transport yet; what lies from here to `ptr` is pending
  bool waitOnWrite_ = true;
  bool throwErrors_ = true;
  bool trace_ = false;
};

}  // namespace rdr
