#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The wire's encodings, written a second time and independently of the program under test.
namespace wire {

inline std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift & 0xFF);
  }
  return text;
}

inline std::string u8(unsigned value) {
  return number(value, 1);
}
inline std::string u16(unsigned value) {
  return number(value, 2);
}
inline std::string u32(std::uint32_t value) {
  return number(value, 4);
}
inline std::string u64(std::uint64_t value) {
  return number(value, 8);
}
inline std::string shortText(std::string_view text) {
  return u8(static_cast<unsigned>(text.size())) + std::string(text);
}
inline std::string text(std::string_view text) {
  return u32(static_cast<std::uint32_t>(text.size())) + std::string(text);
}
/// A transfer id: two words, the low half first.
inline std::string id(std::uint64_t value) {
  return u32(static_cast<std::uint32_t>(value)) + u32(static_cast<std::uint32_t>(value >> 32));
}
/// An entry as an uploading peer writes it.
inline std::string entry(std::string_view name, std::uint64_t size, unsigned mode) {
  return text(name) + u64(size) + u64(0) + u64(0) + u64(0) + u32(0) + u8(1) + shortText("UNIX") + u16(2) + u16(mode);
}

/// Takes fields off the front of a message's bytes. Running out of bytes shows as an empty rest and zeros.
class Fields {
public:
  explicit Fields(std::string bytes) : bytes_(std::move(bytes)) {}

  std::string take(std::size_t count) {
    std::string front = bytes_.substr(0, count);
    bytes_.erase(0, count);
    return front;
  }
  std::uint64_t number(int width) {
    std::uint64_t value = 0;
    for (const char byte : take(static_cast<std::size_t>(width))) {
      value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
  }
  unsigned u8() { return static_cast<unsigned>(number(1)); }
  std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }
  std::uint64_t u64() { return number(8); }
  std::uint64_t id() {
    const std::uint64_t low = u32();
    return low | static_cast<std::uint64_t>(u32()) << 32;
  }
  std::string shortText() { return take(u8()); }
  std::string text() { return take(u32()); }
  const std::string& rest() const { return bytes_; }

private:
  std::string bytes_;
};

/// An entry of a listing, as far as the tests look at it.
struct Entry {
  std::string name;
  std::uint64_t size = 0;
  std::uint32_t flags = 0;
  unsigned mode = 0;
};

inline Entry takeEntry(Fields& fields) {
  Entry entry;
  entry.name = fields.text();
  entry.size = fields.u64();
  fields.take(24);
  entry.flags = fields.u32();
  for (unsigned left = fields.u8(); left > 0; --left) {
    fields.shortText();
    const auto length = static_cast<int>(fields.number(2));
    entry.mode = static_cast<unsigned>(fields.number(length));
  }
  return entry;
}

}  // namespace wire
