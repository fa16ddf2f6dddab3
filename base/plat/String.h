#pragma once

#include <compare>
#include <cstddef>
#include <string_view>

namespace plat {

/// Owner of one zero-terminated UTF-8 text, or of none: null and empty are different values.
///
/// Purpose:   the text type of all interfaces; one pointer wide, so moving costs one word and members stay small.
/// Ownership: owns a malloc'd buffer. Copying duplicates the text.
/// Failure:   running out of memory ends the process; nothing here throws.
/// Does not:  grow in place (DString does), hold zero bytes inside a text, or check that the text is UTF-8.
class String {
public:
  String() noexcept = default;
  String(std::nullptr_t) noexcept {}
  /// A copy of `text`; null stays null. Implicit, so that a literal can be given where a String is wanted.
  String(const char* text) noexcept;
  /// A copy of exactly `length` bytes and a terminator; null stays null whatever the length.
  String(const char* text, std::size_t length) noexcept;
  /// A copy; a view without data gives the empty text, not null.
  explicit String(std::string_view text) noexcept;
  String(const String& other) noexcept;
  String(String&& other) noexcept : text_(other.release()) {}
  ~String();

  String& operator=(const String& other) noexcept;
  String& operator=(String&& other) noexcept;
  /// `text` may lie inside this very string.
  String& operator=(const char* text) noexcept;
  String& operator=(std::string_view text) noexcept;

  /// Takes over a zero-terminated buffer that came from malloc; null gives a null string.
  [[nodiscard]] static String adopt(char* mallocBuffer) noexcept;
  /// A printf-formatted text of any length. A format that cannot be carried out gives the empty text.
  [[nodiscard]] static String format(const char* fmt, ...) noexcept __attribute__((format(printf, 1, 2)));

  /// The text, or null.
  [[nodiscard]] const char* get() const noexcept { return text_; }
  /// The text for edits in place that do not lengthen it, or null.
  [[nodiscard]] char* data() noexcept { return text_; }
  /// The text, "" for null.
  [[nodiscard]] const char* orEmpty() const noexcept { return text_ ? text_ : ""; }
  [[nodiscard]] bool isNull() const noexcept { return text_ == nullptr; }
  /// True for null as well as for "".
  [[nodiscard]] bool empty() const noexcept { return text_ == nullptr || *text_ == '\0'; }
  /// Bytes before the terminator, counted at each call; 0 for null.
  [[nodiscard]] std::size_t length() const noexcept;
  /// The text as a view, an empty one for null.
  [[nodiscard]] std::string_view view() const noexcept { return {orEmpty(), length()}; }
  /// Gives the buffer away, to be freed with free(); the string is null afterwards.
  [[nodiscard]] char* release() noexcept {
    char* text = text_;
    text_ = nullptr;
    return text;
  }

  void swap(String& other) noexcept {
    char* text = text_;
    text_ = other.text_;
    other.text_ = text;
  }

  /// Bytewise; null equals only null.
  friend bool operator==(const String& a, const String& b) noexcept { return a.compare(b.text_) == 0; }
  friend bool operator==(const String& a, const char* b) noexcept { return a.compare(b) == 0; }
  /// Bytewise order, null before everything.
  friend std::strong_ordering operator<=>(const String& a, const String& b) noexcept {
    return a.compare(b.text_) <=> 0;
  }
  friend std::strong_ordering operator<=>(const String& a, const char* b) noexcept { return a.compare(b) <=> 0; }

private:
  [[nodiscard]] int compare(const char* other) const noexcept;

  char* text_ = nullptr;  ///< from malloc
};

}  // namespace plat
