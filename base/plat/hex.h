#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "base/plat/MBuf.h"
#include "base/plat/String.h"

namespace plat {

/// The lower-case digit of 0 to 15.
/// @throws AssertionFail for any other value.
[[nodiscard]] char hexDigit(int i);

/// Two lower-case digits for each of `count` bytes.
[[nodiscard]] String binToHex(const void* bytes, std::size_t count);

/// Reads `count` bytes from 2 * `count` digits of either case at `text`; what follows them is not looked at.
/// Answers false at anything else, a terminator included; `out` may then be partly written.
[[nodiscard]] bool hexToBin(const char* text, std::size_t count, std::uint8_t* out) noexcept;

/// Reads the whole text, which must be an even number of digits. Answers false, and leaves `out` alone, if it is not
/// or is null.
[[nodiscard]] bool tryHexToBuf(const char* text, MBuf<unsigned char>& out);
/// @throws Exception "Bad hex string" where tryHexToBuf answers false.
void hexToBuf(const char* text, MBuf<unsigned char>& out);

/// Writes 16 bytes a line in hexadecimal and as text, where printable. The first line begins with `prefix`, later
/// ones with `linePrefix`; where that is null, with the offset.
void hexDumpTo(std::FILE* file, const void* data, std::size_t length, const char* prefix, const char* linePrefix);
/// hexDumpTo stderr.
void hexDump(const MBuf<unsigned char>& buffer, const char* prefix = nullptr, const char* linePrefix = nullptr);

}  // namespace plat
