#pragma once

#include <cstdint>

namespace plat {

// Integers from text, by the rules of strtol: leading white space, a sign, and with base 0 or 16 the prefix "0x".
// `base` is 0 or 2 to 36. Refused are null, a text without digits, a value beyond the type, and for unsigned types a
// minus sign. Nothing here changes errno.

// The whole text is the number. A refused text, or a value outside [min, max], throws BadNum with `failText`, or the
// type's own text if that is null: "Failed to parse integer", "Failed to parse S64 integer" or "Failed to parse U64
// integer".

/// @throws BadNum
std::int32_t parseS32(const char* text, int base = 10, std::int32_t min = INT32_MIN, std::int32_t max = INT32_MAX,
                      const char* failText = nullptr);
/// @throws BadNum
std::uint32_t parseU32(const char* text, int base = 10, std::uint32_t min = 0, std::uint32_t max = UINT32_MAX,
                       const char* failText = nullptr);
/// @throws BadNum
std::int64_t parseS64(const char* text, int base = 10, std::int64_t min = INT64_MIN, std::int64_t max = INT64_MAX,
                      const char* failText = nullptr);
/// @throws BadNum
std::uint64_t parseU64(const char* text, int base = 10, std::uint64_t min = 0, std::uint64_t max = UINT64_MAX,
                       const char* failText = nullptr);

// The number begins at the cursor, which moves behind it; on failure it stays where it was.

/// @throws BadNum
std::int32_t parseS32At(const char*& cursor, int base = 10);
/// @throws BadNum
std::uint32_t parseU32At(const char*& cursor, int base = 10);
/// @throws BadNum
std::int64_t parseS64At(const char*& cursor, int base = 10);
/// @throws BadNum
std::uint64_t parseU64At(const char*& cursor, int base = 10);

// The same, answering false instead of throwing; `out` is set only on success.

[[nodiscard]] bool tryParseS32(const char*& cursor, int base, std::int32_t& out) noexcept;
[[nodiscard]] bool tryParseU32(const char*& cursor, int base, std::uint32_t& out) noexcept;
[[nodiscard]] bool tryParseU64(const char*& cursor, int base, std::uint64_t& out) noexcept;

}  // namespace plat
