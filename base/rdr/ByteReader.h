#pragma once

#include <cstdint>
#include <utility>

#include "base/plat/String.h"

namespace rdr {

class InStream;

/// Reads a known number of bytes in as many non-blocking attempts as it takes: the one place where progress is kept
/// across blocks, for what may be larger than the stream's buffer.
///
/// Purpose:   where the bytes lie in the window they are passed on without a copy and nothing is allocated; otherwise
///            they are gathered, with a checkpoint behind each piece, so that none is read twice.
/// Ownership: observes the stream. Owns its buffer, unless init() was given one.
/// Lifecycle: idle, init(), read() until it gives a pointer, reset(). init() with the same length is the way back in
///            for a parser that runs again after a block, and changes nothing.
/// The caller checks the length against a limit first: the buffer is allocated at that size.
class ByteReader {
public:
  ByteReader() noexcept = default;
  ByteReader(const ByteReader&) = delete;
  ByteReader& operator=(const ByteReader&) = delete;
  ~ByteReader() { reset(); }

  /// Starts reading `length` bytes and takes a checkpoint of `stream`; 0 bytes never count as in progress.
  /// @param buffer where to gather them, or null for a buffer of this object's own.
  /// @param copyAlways gather the bytes even where they lie together in the window.
  /// @throws plat::Exception "ByteReader::init: bad len" while another length is in progress
  void init(InStream* stream, std::uint32_t length, std::uint8_t* buffer, bool copyAlways);
  /// @return length and bytes once all are there, which stay valid until reset() or, in the window, until the next
  ///         read from the stream; before that a null pointer. Never null for a length of 0.
  /// @throws BlockException instead of giving null, with `throwIfBlock`; what the stream raises
  std::pair<std::int32_t, const std::uint8_t*> read(bool throwIfBlock);
  /// Consumes the bytes unseen. @return true when all are consumed.
  bool skip(bool throwIfBlock);
  /// Reads up to `*nItems` items of length() bytes: as many as the window holds, without a copy, or one, gathered.
  /// @return the items, with `*nItems` set to their count; null if not even one is there yet.
  const std::uint8_t* readItems(bool throwIfBlock, int* nItems);
  /// Frees the buffer and goes idle.
  void reset() noexcept;

  /// Bytes wanted; 0 when idle.
  [[nodiscard]] std::uint32_t len() const noexcept { return len_; }

  /// Reads a text with its length in 32 bits before it, in as many attempts as it takes. Malformed UTF-8 is repaired.
  /// @return the text; null if it is not complete yet, with `reader` holding what has come.
  /// @throws StringTooLongException if it is longer than `maxLength`; BlockException while the length is missing, and
  ///         with `throwIfBlock` while bytes are
  static plat::String readStringResumable(ByteReader& reader, InStream& in, std::uint32_t maxLength, bool throwIfBlock);

private:
  InStream* in_ = nullptr;
  std::uint8_t* buf_ = nullptr;  ///< destination; from malloc if owned
  std::uint32_t nRead_ = 0;      ///< bytes gathered
  std::uint32_t len_ = 0;        ///< bytes wanted; 0 for not in progress
  bool ownsBuf_ = false;
  bool forceCopy_ = false;
};

}  // namespace rdr
