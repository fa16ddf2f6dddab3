#pragma once

#include <cstdarg>

namespace plat {

/// Tells the constructor that takes a printf format from the one that takes a plain text.
enum FormattedTag { Formatted };

/// The root of all failures: a text for humans and a short word that names the kind.
///
/// Purpose:   thrown by value, caught by reference; also kept as a result, where two empty texts mean success.
/// Ownership: a plain value of fixed size. Both texts lie inside the object, so that building one needs no memory
///            and copying one cannot fail. Copying a derived object into an Exception keeps both texts: on purpose.
/// Telling kinds apart: by catching a derived class, or by comparing `type` where no class exists.
/// A text that is too long is cut at the end of a character.
class Exception {
public:
  /// Success: both texts empty.
  Exception() noexcept = default;
  /// Null texts count as empty.
  explicit Exception(const char* text, const char* type = nullptr) noexcept;
  Exception(FormattedTag, const char* fmt, ...) noexcept __attribute__((format(printf, 3, 4)));
  Exception(const Exception&) noexcept = default;
  Exception& operator=(const Exception&) noexcept = default;
  virtual ~Exception();

  /// True if both texts are empty, which as a result means success.
  [[nodiscard]] bool isEmpty() const noexcept { return message[0] == '\0' && type[0] == '\0'; }
  void setType(const char* word) noexcept;
  void clear() noexcept;

  char message[256] = {};  ///< for humans, zero-terminated
  char type[64] = {};      ///< names the kind, zero-terminated, may be empty

protected:
  /// Appends to `message`.
  void appendFormatV(const char* fmt, std::va_list args) noexcept __attribute__((format(printf, 2, 0)));
};

/// How an exception is shown in a log line: "[type] " if there is a type, then the message, or `fallback` if that is
/// empty. Fills and returns `buffer`; a longer text is cut.
const char* formatException(char (&buffer)[256], const Exception& exception, const char* fallback = "") noexcept;

/// formatException with its buffer, for use inside a log call: log.error("%s", ExceptionText(e).get()).
class ExceptionText {
public:
  explicit ExceptionText(const Exception& exception, const char* fallback = "") noexcept {
    formatException(text_, exception, fallback);
  }
  [[nodiscard]] const char* get() const noexcept { return text_; }

private:
  char text_[256];
};

}  // namespace plat
