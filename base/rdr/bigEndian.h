#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace rdr {

/// Swaps the bytes of a value that is in the other order than this machine's.
template <std::unsigned_integral T>
constexpr T fromBigEndian(T value) noexcept {
  if constexpr (std::endian::native == std::endian::big || sizeof(T) == 1) {
    return value;
  } else if constexpr (sizeof(T) == 2) {
    return __builtin_bswap16(value);
  } else if constexpr (sizeof(T) == 4) {
    return __builtin_bswap32(value);
  } else {
    return __builtin_bswap64(value);
  }
}

/// Loads a big-endian value from any address: one load and one swap.
template <std::unsigned_integral T>
T loadBigEndian(const std::uint8_t* from) noexcept {
  T value;
  std::memcpy(&value, from, sizeof(T));
  return fromBigEndian(value);
}

/// Stores a value big-endian at any address.
template <std::unsigned_integral T>
void storeBigEndian(std::uint8_t* to, T value) noexcept {
  value = fromBigEndian(value);
  std::memcpy(to, &value, sizeof(T));
}

}  // namespace rdr
