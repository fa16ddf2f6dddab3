#pragma once

#include <cstddef>
#include <cstdint>

#include "base/plat/assert.h"
#include "base/rdr/bigEndian.h"

namespace plat {
class DString;
class String;
}  // namespace plat

namespace rdr {

/// A stream of bytes to read typed values from: the parent of every source, be it memory, a file, a connection or a
/// message inside another stream.
///
/// Purpose:   readers see a window of raw memory, so a typed read is one bounds test and one load. Only an exhausted
///            window leads to a virtual call. All integers are big-endian; texts are counted.
/// Checkpoint: a parser that runs out of bytes does not keep what it has parsed. The failed read rewinds the stream to
///            its last checkpoint and raises BlockException; the parser runs again from there once more has come. It
///            therefore acts only when its message is whole, and takes a checkpoint where it will not go back behind.
/// Ownership: derived classes own or observe the memory. A pointer into the window is good until the next read.
/// Thread:    one at a time; nothing here locks.
/// What a read may raise: BlockException (bytes not there yet), EndOfStream, EndOfMsg, plat::Exception "InStream
/// overrun: buffer size exceeded" (more bytes since the checkpoint than the buffer holds), and what the source raises.
class InStream {
public:
  InStream(const InStream&) = delete;
  InStream& operator=(const InStream&) = delete;
  virtual ~InStream();

  /// Offset of the next unread byte, modulo 2^32.
  [[nodiscard]] virtual std::uint32_t offset() = 0;
  /// Forgets everything before the next unread byte: rewind() comes back here. Returns offset().
  virtual std::uint32_t checkpoint();
  /// Goes back to the last checkpoint.
  /// @throws plat::Exception "Attempt to rewind a non-rewindable stream"
  virtual void rewind();
  /// Moves to `target`, at or behind the last checkpoint; offsets may have wrapped in between.
  /// @throws plat::Exception "Can't reposition before checkpoint", with the stream unchanged
  virtual void reposition(std::uint32_t target);
  /// Whether no further byte exists in this stream or message. A stream that cannot tell answers false.
  [[nodiscard]] virtual bool atEnd();

  std::uint8_t readU8() {
    if (ptr == end) [[unlikely]] {
      check(true, 1);
    }
    return *ptr++;
  }
  std::int8_t readS8() { return static_cast<std::int8_t>(readU8()); }
  std::uint16_t readU16() { return readValue<std::uint16_t>(); }
  std::int16_t readS16() { return static_cast<std::int16_t>(readU16()); }
  std::uint32_t readU32() { return readValue<std::uint32_t>(); }
  std::int32_t readS32() { return static_cast<std::int32_t>(readU32()); }
  std::uint64_t readU64() { return readValue<std::uint64_t>(); }
  std::int64_t readS64() { return static_cast<std::int64_t>(readU64()); }

  /// Bytes in the window.
  [[nodiscard]] int nUnread() const noexcept { return static_cast<int>(end - ptr); }
  [[nodiscard]] const std::uint8_t* getPtr() const noexcept { return ptr; }
  [[nodiscard]] const std::uint8_t* getEnd() const noexcept { return end; }
  /// Consumes the window up to `p`. @throws plat::AssertionFail "p >= ptr && p <= end"
  void setPtr(const std::uint8_t* p) {
    PLAT_REQUIRE(p >= ptr && p <= end);
    ptr = p;
  }

  /// The one way to more data: after true the window has at least one byte and, if the buffer can hold them,
  /// `itemSize` bytes. If no data is there at present, a rewindable stream is back at its checkpoint and the answer is
  /// false, or BlockException with `throwIfBlock`.
  bool check(bool throwIfBlock, int itemSize = 1);
  /// Consumes `n` bytes; none for `n` below 1.
  void skip(int n);
  /// Consumes `n` bytes of the window and returns where they are.
  /// @throws plat::AssertionFail "nUnread() >= n"
  const std::uint8_t* readInPlace(int n) {
    PLAT_REQUIRE(nUnread() >= n);
    const std::uint8_t* bytes = ptr;
    ptr += n;
    return bytes;
  }
  /// Consumes whole items of `itemSize` bytes, at most `*nItems`, and sets that to their count.
  /// @return where they are in the window; null if not even one is there whole.
  /// @throws plat::AssertionFail if `*nItems` or `itemSize` is below 1; BlockException with `throwIfBlock`
  const std::uint8_t* getItems(int itemSize, int* nItems, bool throwIfBlock);
  /// getItems that gathers one item in `buf` (`itemSize` bytes) where the window cannot hold it. Never null.
  const std::uint8_t* getItemsOrCopy(void* buf, int itemSize, int* nItems);
  /// Consumes exactly `n` bytes: where they are in the window or, where it cannot hold them together, in `scratch`.
  const std::uint8_t* readOrCopy(void* scratch, int n);

  /// Reads exactly `len` bytes into `dest`. @return the index of the first zero byte, 0xFFFFFFFF if there is none.
  std::uint32_t readFixed(void* dest, std::uint32_t len);
  /// Reads exactly `len` bytes as a text; with `fixUtf8` it is checked up to its first zero byte and, if malformed,
  /// repaired. The caller has checked `len` against a limit. @throws StringTooLongException from 2^31 - 1 on
  void readBytesInto(std::uint32_t len, plat::DString& dest, bool fixUtf8);
  plat::String readFixedString(std::uint32_t len, bool fixUtf8);
  /// A text with its length in 8 bits before it.
  plat::String readShortString(bool fixUtf8);
  /// A text with its length in 32 bits before it.
  /// @throws StringTooLongException if that exceeds `maxLength`; the length has been consumed, nothing allocated
  plat::String readString(std::uint32_t maxLength, bool fixUtf8);
  /// Reads up to the next line feed, which is consumed and not stored; carriage returns are dropped wherever they
  /// stand. The end of the stream or message ends a line that has at least one character.
  /// @param maxLength characters allowed; 0 for 262144. @param sawNul set to whether a zero byte was stored.
  /// @return false if `fixUtf8` had to repair the line.
  /// @throws StringTooLongException with `dest` empty; EndOfStream or EndOfMsg if nothing is left
  bool readLine(plat::DString& dest, std::uint32_t maxLength = 0, bool* sawNul = nullptr, bool fixUtf8 = false);
  /// An evenly spread number below `bound` (any 32 bits for 0) out of a stream of random bytes. Reads at most nine
  /// values; the last counts even where it is not perfectly even.
  std::uint32_t readUniform(std::uint32_t bound);

  /// While true (as on construction) bytes behind the checkpoint are kept and a failed read rewinds to it. While false
  /// every refill takes a checkpoint of its own, so that all that has been read may be discarded.
  void setRewindable(bool on) noexcept { rewindable_ = on; }
  [[nodiscard]] bool rewindable() const noexcept { return rewindable_; }

protected:
  InStream() = default;

  /// Makes at least `itemSize` bytes available at `ptr`, or as many as the stream can hold. Called by check() alone.
  /// @return true: look at the window again; false: no data at present. May also raise, BlockException included.
  virtual bool overrun(int itemSize) = 0;

  const std::uint8_t* ptr = nullptr;            ///< next unread byte
  const std::uint8_t* end = nullptr;            ///< one past the window
  const std::uint8_t* checkpointPtr = nullptr;  ///< window position of the last checkpoint
  std::uint32_t checkpointOffset = 0;           ///< stream offset of the last checkpoint
  bool rewindable_ = true;

private:
  template <class T>
  T readValue() {
    if (end - ptr >= static_cast<std::ptrdiff_t>(sizeof(T))) [[likely]] {
      const T value = loadBigEndian<T>(ptr);
      ptr += sizeof(T);
      return value;
    }
    return readValueAcross<T>();
  }
  /// The value is not whole in the window: it may straddle the end of a buffer, or of a frame.
  template <class T>
  [[gnu::noinline, gnu::cold]] T readValueAcross() {
    std::uint8_t scratch[sizeof(T)];
    return loadBigEndian<T>(readOrCopy(scratch, sizeof(T)));
  }
};

}  // namespace rdr
