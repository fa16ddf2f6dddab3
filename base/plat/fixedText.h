#pragma once

#include <cstdarg>
#include <cstddef>

namespace plat {

// Text in buffers of fixed size. `size` is that of the whole buffer; the terminator always finds its place in it.
// A text that does not fit is cut, and a character that the cut would split is left out whole. Nothing here fails or
// allocates. The buffer must hold a terminated text beforehand, strCopy aside; with a size of 0 nothing happens.

/// Appends at most `maxLen` bytes of `text`, all of it for -1; null appends nothing.
void strAppend(char* buffer, std::size_t size, const char* text, int maxLen = -1) noexcept;
/// Appends a printf-formatted text.
void strFormatAppend(char* buffer, std::size_t size, const char* fmt, ...) noexcept
    __attribute__((format(printf, 3, 4)));
void strFormatAppendV(char* buffer, std::size_t size, const char* fmt, std::va_list args) noexcept
    __attribute__((format(printf, 3, 0)));
/// Replaces the text of the buffer; null gives the empty text. Answers the length of the whole of `text`, so that
/// a result of `size` or more tells that it was cut.
std::size_t strCopy(char* buffer, std::size_t size, const char* text) noexcept;
/// Appends the encoding of `codePoint` `count` times, or as often as it fits whole. A value above 0x10FFFF appends
/// nothing.
void strAppendChars(char* buffer, std::size_t size, unsigned codePoint, int count) noexcept;

}  // namespace plat
