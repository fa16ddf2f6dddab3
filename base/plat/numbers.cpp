#include "base/plat/numbers.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "base/plat/exceptions.h"

namespace plat {

namespace {

// A value out of range shows in errno alone, which therefore has to be 0 before; callers are to notice nothing of that.
class ErrnoKeeper {
public:
  ErrnoKeeper() noexcept : saved_(errno) { errno = 0; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
  ~ErrnoKeeper() { errno = saved_; }

private:
  int saved_;
};

template <class Number>
constexpr const char* failure() noexcept {
  if constexpr (sizeof(Number) == sizeof(std::int32_t)) {
    return "Failed to parse integer";
  }
  return std::is_signed_v<Number> ? "Failed to parse S64 integer" : "Failed to parse U64 integer";
}

template <class Number>
bool tryParse(const char*& cursor, int base, Number& out) noexcept {
  if (cursor == nullptr) {
    return false;
  }
  const ErrnoKeeper keeper;
  // Parsed at 64 bits for all, so that a value too large for a 32-bit type is refused by range and not cut.
  using Wide = std::conditional_t<std::is_signed_v<Number>, long long, unsigned long long>;
  char* end = nullptr;
  Wide value = 0;
  if constexpr (std::is_signed_v<Number>) {
    value = std::strtoll(cursor, &end, base);
  } else {
    value = std::strtoull(cursor, &end, base);
  }
  // A base that is none leaves `end` unset.
  if (errno != 0 || end == cursor || end == nullptr) {
    return false;
  }
  // strtoull negates what follows a minus sign and calls that a success.
  if (std::is_unsigned_v<Number> && std::memchr(cursor, '-', static_cast<std::size_t>(end - cursor)) != nullptr) {
    return false;
  }
  // Only now is anything handed out: on failure neither `out` nor the cursor may have moved.
  if (value < Wide{std::numeric_limits<Number>::min()} || value > Wide{std::numeric_limits<Number>::max()}) {
    return false;
  }
  out = static_cast<Number>(value);
  cursor = end;
  return true;
}

template <class Number>
Number parseAt(const char*& cursor, int base) {
  Number number = 0;
  if (!tryParse(cursor, base, number)) {
    throw BadNum(failure<Number>());
  }
  return number;
}

template <class Number>
Number parseWhole(const char* text, int base, Number min, Number max, const char* failText) {
  Number number = 0;
  // The cursor is the parameter itself, which stands behind the number: blanks in front pass, blanks behind do not.
  if (!tryParse(text, base, number) || *text != '\0' || number < min || number > max) {
    throw BadNum(failText != nullptr ? failText : failure<Number>());
  }
  return number;
}

}  // namespace

std::int32_t parseS32(const char* text, int base, std::int32_t min, std::int32_t max, const char* failText) {
  return parseWhole(text, base, min, max, failText);
}

std::uint32_t parseU32(const char* text, int base, std::uint32_t min, std::uint32_t max, const char* failText) {
  return parseWhole(text, base, min, max, failText);
}

std::int64_t parseS64(const char* text, int base, std::int64_t min, std::int64_t max, const char* failText) {
  return parseWhole(text, base, min, max, failText);
}

std::uint64_t parseU64(const char* text, int base, std::uint64_t min, std::uint64_t max, const char* failText) {
  return parseWhole(text, base, min, max, failText);
}

std::int32_t parseS32At(const char*& cursor, int base) {
  return parseAt<std::int32_t>(cursor, base);
}
std::uint32_t parseU32At(const char*& cursor, int base) {
  return parseAt<std::uint32_t>(cursor, base);
}
std::int64_t parseS64At(const char*& cursor, int base) {
  return parseAt<std::int64_t>(cursor, base);
}
std::uint64_t parseU64At(const char*& cursor, int base) {
  return parseAt<std::uint64_t>(cursor, base);
}

bool tryParseS32(const char*& cursor, int base, std::int32_t& out) noexcept {
  return tryParse(cursor, base, out);
}
bool tryParseU32(const char*& cursor, int base, std::uint32_t& out) noexcept {
  return tryParse(cursor, base, out);
}
bool tryParseU64(const char*& cursor, int base, std::uint64_t& out) noexcept {
  return tryParse(cursor, base, out);
}

}  // namespace plat
