#pragma once

#include <cstdint>
#include <initializer_list>

#include "base/plat/String.h"

namespace plat {
class DString;
}

namespace loc {

/// One argument of the formatter: a signed int, an unsigned 64-bit number, or a text (observed during the call).
class FormatArg final {
public:
  enum class Kind { Int, Unsigned, Text };

  FormatArg(int value) noexcept : kind_(Kind::Int), int_(value) {}
  FormatArg(std::uint64_t value) noexcept : kind_(Kind::Unsigned), unsigned_(value) {}
  FormatArg(const char* value) noexcept : kind_(Kind::Text), text_(value ? value : "") {}

  Kind kind() const noexcept { return kind_; }
  int intValue() const noexcept { return int_; }
  std::uint64_t unsignedValue() const noexcept { return unsigned_; }
  const char* text() const noexcept { return text_; }

private:
  Kind kind_;
  int int_ = 0;
  std::uint64_t unsigned_ = 0;
  const char* text_ = "";
};

/// Fills a translated text with arguments: "%%", "%S", "%.NS", "%D", "%+D", "%X", and the same of the Nth argument
/// with "N$" behind the percent sign. Without a position there must be exactly one argument.
///
/// A conversion that is wrong in itself or does not fit its argument shows as "%%" and the characters after it, and the
/// text is reported once as a bad one (badString.h); nothing is thrown.
plat::String format(const char* text, std::initializer_list<FormatArg> args);
/// The same, appended to `output`.
void format(plat::DString& output, const char* text, std::initializer_list<FormatArg> args);

}  // namespace loc
