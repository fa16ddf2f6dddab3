#pragma once

#include <cstdarg>

#include "base/rdr/OutStream.h"

namespace rdr {

/// Builds a text in an output stream, as a rule a MemOutStream.
///
/// Behind what it has appended there is always a zero byte that is not counted, so that the contents of a memory
/// stream can be used as a terminated text at any moment. Observes the stream.
class TextAppender {
public:
  explicit TextAppender(OutStream& stream) noexcept : out_(&stream) {}

  /// Appends `text` up to its terminator, and of that at most `len` bytes if `len` is not negative.
  void appendText(const char* text, int len = -1);
  /// Prints into the stream's window, which grows to what is needed.
  /// @throws OutStreamFull if the stream cannot hold it in one piece; plat::Exception if the format cannot be printed
  void appendFormat(const char* format, ...) __attribute__((format(printf, 2, 3)));
  /// Appends `count` times the UTF-8 form of `codePoint`; nothing for a count below 1 or a value above 0x10FFFFF.
  /// Four bytes are written for values between Unicode's limit, 0x10FFFF, and that one; they mean nothing.
  void appendChars(unsigned codePoint, int count);

private:
  int tryFormat(int size, const char* format, std::va_list args) __attribute__((format(printf, 3, 0)));
  void ensureRoom(int bytes);
  void storeNul();

  OutStream* out_;
};

}  // namespace rdr
