#pragma once

#include <cstdarg>
#include <cstddef>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace plat {

/// A text that grows: the place where longer texts are put together.
///
/// Purpose:   append, insert, replace and format into one malloc'd, zero-terminated buffer.
/// Ownership: owns its buffer; hands it out with takeString() without copying.
/// Failure:   running out of memory ends the process. Only replaceAll throws.
/// Lifecycle: starts null (no buffer at all); any append makes it a text, clear() keeps the buffer for reuse.
/// The length is not kept: whoever writes through data() need not report it, so length() counts at each call.
class DString : private NonCopyable {
public:
  DString() noexcept = default;
  /// Starts with a copy of `text`; null gives a null text.
  explicit DString(const char* text) noexcept;
  DString(DString&& other) noexcept;
  DString& operator=(DString&& other) noexcept;
  ~DString();

  /// Makes room for `n` bytes, the terminator included: the smallest power of two not below `n`, at least 8.
  /// The text is kept, a null text becomes an empty one. Does nothing for 0, or if the room is there already.
  void reserve(int n) noexcept;

  /// The text, or null.
  [[nodiscard]] const char* get() const noexcept { return data_; }
  /// The buffer for writing within capacity() (terminator included), or null.
  [[nodiscard]] char* data() noexcept { return data_; }
  [[nodiscard]] const char* orEmpty() const noexcept { return data_ ? data_ : ""; }
  /// Bytes of the buffer, 0 without one.
  [[nodiscard]] int capacity() const noexcept { return capacity_; }
  /// Bytes before the terminator, 0 for null.
  [[nodiscard]] std::size_t length() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return data_ == nullptr || *data_ == '\0'; }

  /// Appends at most `length` bytes of `text`, all of it for -1; null appends nothing. `text` may be this very text.
  DString& append(const char* text, int length = -1) noexcept;
  /// Appends a printf-formatted text, none of whose arguments may lie in this text. A format that cannot be carried out
  /// appends nothing.
  DString& appendFormat(const char* fmt, ...) noexcept __attribute__((format(printf, 2, 3)));
  DString& appendFormatV(const char* fmt, std::va_list args) noexcept __attribute__((format(printf, 2, 0)));
  DString& appendChar(char c) noexcept;

  /// Puts `text` (at most `length` bytes, all for -1; null for nothing) in place of the bytes [start, end).
  /// start == end inserts. A range that does not lie inside the text leaves everything alone.
  void replaceRange(int start, int end, const char* text, int length = -1) noexcept;
  /// Replaces each occurrence of `find`, from the left and without looking at what was put in; a null `with` deletes.
  /// @throws AssertionFail if `find` is null or empty.
  void replaceAll(const char* find, const char* with);
  /// Leaves an empty text and keeps the buffer; a null text stays null.
  void clear() noexcept;

  /// Takes over a zero-terminated buffer of `capacity` bytes that came from malloc; the old one is freed.
  void adopt(char* mallocBuffer, int capacity) noexcept;
  /// Gives the text away without copying; this becomes null.
  [[nodiscard]] String takeString() noexcept;

private:
  [[nodiscard]] bool owns(const char* text) const noexcept;

  char* data_ = nullptr;  ///< from malloc, zero-terminated
  int capacity_ = 0;      ///< bytes at data_
};

}  // namespace plat
