#pragma once

#include "base/plat/String.h"

namespace plat {

// UTF-8 as everything here accepts it: one to four bytes in the shortest form, and neither surrogates
// (0xD800-0xDFFF), nor noncharacters (0xFDD0-0xFDEF, and all that end in FFFE or FFFF), nor values above 0x10FFFF.
// RFC 3629, with the noncharacters refused on top. Where an `end` can be given, null means up to the terminator;
// with one, a zero byte before it is a character as any other. A null text counts as empty, and is valid.

/// Decodes the character whose lead byte has been read and whose further bytes start at `cursor`.
/// @param maxLen how many bytes may be read at `cursor`; negative if a terminator bounds the text.
/// @return the code point, with `cursor` behind the character; or -1 if it is malformed, with `cursor` as it was.
[[nodiscard]] int utf8Decode(unsigned char leadByte, const char*& cursor, int maxLen) noexcept;

/// Writes the one to four bytes of `codePoint`, with no regard to surrogates and noncharacters, and moves `cursor`
/// behind them. No terminator is written.
/// @throws Exception "Unicode out of range" above 0x10FFFF.
void utf8Encode(unsigned codePoint, char*& cursor);

/// Whether the whole text decodes. Plain ASCII passes at eight bytes a step.
[[nodiscard]] bool isValidUtf8(const char* text, const char* end = nullptr) noexcept;

/// A copy in which every malformed byte is replaced by U+FFFD, of at most `maxChars` characters if that is 0 or
/// more. Null gives null.
[[nodiscard]] String utf8Repair(const char* text, const char* end = nullptr, int maxChars = -1) noexcept;

/// The display columns that the text takes: the sum of wcwidth, with 1 where that is negative. Stops at the first
/// malformed character.
[[nodiscard]] int utf8Width(const char* text, const char* end = nullptr) noexcept;

/// A copy fit for a terminal or a log line; null gives null. `escape` is doubled; a control character becomes
/// `escape`, `^` and its letter; well-formed characters stay; a malformed byte becomes `escape`, `M` if its high bit
/// is set, and `^` or `-` with what is left of it. At most four bytes for each one of the text.
[[nodiscard]] String utf8Escape(const char* text, char escape) noexcept;

/// ISO 8859-1, with two liberties: the euro sign becomes 0x80, everything else above 0xFF `?`. The conversion stops
/// at a malformed character. `len` in bytes, -1 for all. Null gives null.
[[nodiscard]] String utf8ToLatin1(const char* text, int len = -1) noexcept;
/// The way back: each byte becomes the code point of its value, except for 0x80, which becomes the euro sign.
[[nodiscard]] String latin1ToUtf8(const char* bytes, int len = -1) noexcept;

/// Moves both ends of the byte range [start, start + len) of `text` back to where the character under them begins,
/// after confining the range to the text; so ranges that adjoin before do so afterwards.
/// @return the length of the whole text in bytes.
int utf8Boundary(const char* text, int& start, int& len) noexcept;

}  // namespace plat
