#pragma once

#include "base/plat/NonCopyable.h"
#include "base/rdr/InStream.h"
#include "base/rdr/mallocBytes.h"

namespace rdr {

/// An input stream with a buffer of fixed size between the reader and a transport.
///
/// Purpose:   a derived class supplies readBlock() and nothing else. The buffer keeps what lies behind the checkpoint;
///            each refill first moves that to its front, unless an observer points into it, and then asks for all the
///            free room, one system call a time.
/// Road:      InStream::check() calls overrun(), for the link mostly out of FramedInStream, for a file out of
///            fops::FileSender; that calls readBlock() of FdInStream or FileInStream.
/// Ownership: owns the buffer.
/// Limit:     a message of which more than the buffer is read without a checkpoint cannot be parsed: plat::Exception
///            "InStream overrun: buffer size exceeded".
class BufferedInStream : public InStream, private plat::NonCopyable {
public:
  static constexpr int DefaultBufSize = 16800;

  /// Whoever keeps pointers into the buffer beyond the read that gave them.
  class Observer {
  public:
    /// Whether there are such pointers now. While there are, a refill leaves the buffer's bytes where they are, as long
    /// as half of the buffer is left behind them.
    [[nodiscard]] virtual bool needsBuffer() const noexcept = 0;
    /// The last moment for such pointers: bytes are about to be moved or overwritten, or there is nothing to read and a
    /// quarter of the buffer has been filled.
    virtual void bufferChanges() noexcept = 0;
    /// The same, and the stream is about to go with its buffer.
    virtual void bufferGone() noexcept = 0;

  protected:
    ~Observer() = default;  // never deleted through this interface
  };

  /// @param size bytes of the buffer; negative for 16800, 0 for none at all.
  explicit BufferedInStream(int size = -1);
  /// Takes the buffer with its unread bytes; `other` is left without a buffer, and its observer is told that it went.
  BufferedInStream(BufferedInStream&& other) noexcept;
  ~BufferedInStream() override;

  [[nodiscard]] std::uint32_t offset() override;

  /// Overwrites the buffer with zeros before it is freed, for a stream that carries secrets.
  void setSecure(bool on) noexcept { secure_ = on; }
  /// Dumps every block that is read to standard error, for debugging.
  void setTrace(bool on) noexcept { trace_ = on; }

  /// At most one at a time; null for none. Not owned.
  void setObserver(Observer* newObserver) noexcept { observer_ = newObserver; }
  /// Whether `where` points into the buffer.
  [[nodiscard]] bool holds(const void* where) const noexcept;

  /// Throws away all that is in the buffer.
  void discard() noexcept;

protected:
  bool overrun(int itemSize) override;
  /// Reads at most `len` bytes, at least 1, into `dest`.
  /// @return how many; 0 for none at present. Raises at the end of the stream, never returns there.
  virtual int readBlock(std::uint8_t* dest, int len) = 0;

private:
  /// Moves the bytes from the checkpoint on to the front of the buffer.
  void compact() noexcept;
  bool mayStay(int itemSize) const noexcept;

  std::uint32_t offsetBase_ = 0;  ///< stream offset of the byte at `start_`
  int bufSize_;
  MallocBytes start_;
  Observer* observer_ = nullptr;
  bool secure_ = false;
  bool trace_ = false;
};

}  // namespace rdr
