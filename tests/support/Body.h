#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace test {

/// Bytes put together field by field: the wire's encodings, written a second time and independently of the program.
struct Body : std::string {
  Body& u8(unsigned value) { return number(value, 1); }
  Body& u16(unsigned value) { return number(value, 2); }
  Body& u32(std::uint32_t value) { return number(value, 4); }
  Body& u64(std::uint64_t value) { return number(value, 8); }
  Body& zeros(std::size_t count) { return raw(std::string(count, '\0')); }
  Body& raw(std::string_view bytes) { return static_cast<Body&>(append(bytes)); }
  Body& shortText(std::string_view text) { return u8(static_cast<unsigned>(text.size())).raw(text); }
  Body& text(std::string_view text) { return u32(static_cast<std::uint32_t>(text.size())).raw(text); }
  Body& id(std::uint32_t low, std::uint32_t high = 0) { return u32(low).u32(high); }
  Body& result(std::string_view message, std::string_view type) { return shortText(message).shortText(type); }
  /// An entry without attributes.
  Body& entry(std::string_view name, std::uint64_t size = 0, std::uint32_t flags = 0) {
    return text(name).u64(size).zeros(3 * 8).u32(flags).u8(0);
  }
  /// An entry as an uploading peer writes it.
  Body& entryWithMode(std::string_view name, std::uint64_t size, unsigned mode) {
    return text(name).u64(size).zeros(3 * 8 + 4).u8(1).shortText("UNIX").u16(2).u16(mode);
  }
  Body& number(std::uint64_t value, int width) {
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
      push_back(static_cast<char>(value >> shift));
    }
    return *this;
  }
};

}  // namespace test
