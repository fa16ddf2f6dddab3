#pragma once

#include <cstddef>
#include <cstdint>

#include "base/plat/assert.h"
#include "base/rdr/bigEndian.h"

namespace rdr {

/// A stream of bytes to write typed values to: the parent of every sink, be it memory, a file, a connection or a
/// message inside another stream.
///
/// Purpose:   writers see a window of raw memory, so a typed write is one bounds test and one store. Only a full
///            window leads to a virtual call. All integers are big-endian; texts are counted.
/// Ownership: derived classes own or observe the memory.
/// Thread:    one at a time; nothing here locks.
/// What a write may raise: OutStreamFull where a limit is set, and what the transport raises. A value is then not
/// written in part.
class OutStream {
public:
  OutStream(const OutStream&) = delete;
  OutStream& operator=(const OutStream&) = delete;
  virtual ~OutStream();

  /// Writes `length` bytes; none for a length below 1.
  virtual void writeBytes(const void* data, int length);
  /// Bytes written so far, those still buffered included, modulo 2^32.
  [[nodiscard]] virtual std::uint32_t length() = 0;
  /// Sends what is buffered on its way. What that means, and whether it waits, is for the derived class to say.
  virtual void flush();
  /// The lowest stream of a chain: this one, unless it sits on another.
  [[nodiscard]] virtual OutStream* bottom();
  /// Bytes accepted and not yet delivered to the transport.
  [[nodiscard]] virtual int nPending();
  /// Bytes that may still be accepted without failing.
  [[nodiscard]] virtual int spaceLeft() = 0;
  /// Half-closes behind the last byte. @return false if the stream knows no such thing and nothing was done.
  virtual bool closeWrite();
  /// Whether failures of the transport are raised, where the derived class leaves the choice.
  virtual void setThrowErrors(bool on);
  /// Makes room for at least one item of `itemSize` bytes.
  /// @return how many of `nItems` items fit in the window now.
  virtual int overrun(int itemSize, int nItems) = 0;

  void writeU8(std::uint8_t value) { writeValue(value); }
  void writeS8(std::int8_t value) { writeValue(static_cast<std::uint8_t>(value)); }
  void writeU16(std::uint16_t value) { writeValue(value); }
  void writeS16(std::int16_t value) { writeValue(static_cast<std::uint16_t>(value)); }
  void writeU32(std::uint32_t value) { writeValue(value); }
  void writeS32(std::int32_t value) { writeValue(static_cast<std::uint32_t>(value)); }
  void writeU64(std::uint64_t value) { writeValue(value); }
  void writeS64(std::int64_t value) { writeValue(static_cast<std::uint64_t>(value)); }

  /// Writes the length in 32 bits and then the bytes of `text`: up to its terminator, or at most `maxLength` bytes if
  /// that is not negative. Null counts as empty.
  void writeString(const char* text, int maxLength = -1);
  /// Writes the length in 8 bits and then the bytes. A text of 256 bytes or more is silently cut to 255.
  void writeShortString(const char* text);
  /// Advances by `n` bytes without storing anything: whatever was in the buffer stands in the output.
  void padBytes(int n);

  [[nodiscard]] std::uint8_t* getPtr() const noexcept { return ptr; }
  [[nodiscard]] std::uint8_t* getEnd() const noexcept { return end; }
  /// Takes what was stored at getPtr() up to `p` as written. @throws plat::AssertionFail "p >= ptr && p <= end"
  void setPtr(std::uint8_t* p) {
    PLAT_REQUIRE(p >= ptr && p <= end);
    ptr = p;
  }

protected:
  OutStream() = default;
  /// Bytes of the window; below 0 where a limit has been set under what is written already.
  [[nodiscard]] std::ptrdiff_t room() const noexcept { return end - ptr; }

  std::uint8_t* ptr = nullptr;  ///< next free byte
  std::uint8_t* end = nullptr;  ///< one past the last writable byte of the window

private:
  template <class T>
  void writeValue(T value) {
    if (end - ptr < static_cast<std::ptrdiff_t>(sizeof(T))) [[unlikely]] {
      overrun(sizeof(T), 1);
    }
    storeBigEndian(ptr, value);
    ptr += sizeof(T);
  }
};

}  // namespace rdr
