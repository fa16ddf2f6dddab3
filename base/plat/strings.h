#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/plat/String.h"
#include "base/plat/expandVars.h"
#include "base/plat/fixedText.h"
#include "base/plat/textTokens.h"
#include "base/plat/textWrap.h"

namespace plat {

// Small helpers for zero-terminated texts, and by inclusion the others: fixed buffers, tokens, wrapping, variables.
// "Without regard to case" means ASCII letters only, whatever the locale, unless said otherwise.

/// A null prefix matches everything, a null text only an empty prefix.
[[nodiscard]] bool strStartsWith(const char* text, const char* prefix) noexcept;
/// Two nulls match; null and a text do not.
[[nodiscard]] bool strEndsWith(const char* text, const char* suffix) noexcept;
[[nodiscard]] bool strEndsWithNoCase(const char* text, const char* suffix) noexcept;
/// Below, at or above 0 as `a` comes before, with or after `b` without regard to case; null comes first.
[[nodiscard]] int strCompareNoCase(const char* a, const char* b) noexcept;

/// An order of names without regard to case, for maps and sets; finds by std::string, view or literal.
struct NoCaseLess {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const noexcept;
};

/// Bytes before the terminator, but at most `limit`; 0 for null.
[[nodiscard]] std::size_t strCount(const char* text, std::size_t limit) noexcept;
/// A copy of at most `limit` bytes; null gives null.
[[nodiscard]] String strDup(const char* text, std::size_t limit) noexcept;
/// A copy without blanks, tabs, newlines and carriage returns at both ends; null gives null.
[[nodiscard]] String strTrim(const char* text) noexcept;
/// Removes in place every byte that occurs in `characters`.
void strRemoveChars(char* text, const char* characters) noexcept;
/// Folds ASCII letters in place; all other bytes stay.
void strToLowerAscii(char* text) noexcept;
void strToUpperAscii(char* text) noexcept;
/// A copy in lower case by the rules of the current locale, character by character; malformed bytes stay.
[[nodiscard]] String strToLowerLocale(const char* text);

[[nodiscard]] constexpr char toLowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The 64-bit FNV-1a hash of `length` bytes; spreads well, withstands nobody.
[[nodiscard]] std::uint64_t hashFnv1a(const void* data, std::size_t length) noexcept;

/// Whether the whole of `text` matches `pattern`, in which `*` stands for any run of bytes, empty ones included, and
/// nothing else is special. A null pattern or text never matches. Without `caseSensitive` bytes are compared after
/// the C library's tolower.
[[nodiscard]] bool wildcardMatch(const char* pattern, const char* text, bool caseSensitive) noexcept;

}  // namespace plat
