#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace fops {

/// One attribute of a DirEntry that only the same operating system understands: a name and some bytes.
///
/// Listings hold one of these per file, so the usual small one ("UNIX" and its two bytes) lives inside the object and
/// costs no allocation. A value: copies are deep, a source that was moved from is empty.
class OsAttr final {
public:
  static constexpr std::size_t MaxValueSize = 65535;  // the length on the wire has 16 bits

  OsAttr() noexcept = default;
  /// @param name stored whole, though only 255 bytes of it travel.
  /// @throws plat::AssertionFail if `value` is larger than MaxValueSize.
  OsAttr(std::string_view name, std::span<const std::uint8_t> value);
  OsAttr(const OsAttr& other);
  OsAttr(OsAttr&& other) noexcept;
  OsAttr& operator=(const OsAttr& other);
  OsAttr& operator=(OsAttr&& other) noexcept;
  ~OsAttr() = default;

  /// Zero-terminated.
  const char* name() const noexcept { return reinterpret_cast<const char*>(bytes()); }
  std::string_view nameView() const noexcept { return {name(), nameLength_}; }
  std::span<const std::uint8_t> value() const noexcept;

  friend bool operator==(const OsAttr& a, const OsAttr& b) noexcept;

private:
  const std::uint8_t* bytes() const noexcept { return large_ ? large_.get() : small_; }

  std::uint32_t nameLength_ = 0;
  std::uint32_t valueLength_ = 0;
  // The name, its terminator, then the value: here if all of it fits, else in large_.
  std::uint8_t small_[8] = {};
  std::unique_ptr<std::uint8_t[]> large_;
};

/// The attributes of one entry in their order on the wire. The first lives inside the object; from the second on all of
/// them move to the heap, together. Iterators and references end with the next push_back.
class OsAttrs final {
public:
  std::size_t size() const noexcept { return many_.empty() ? (hasFirst_ ? 1 : 0) : many_.size(); }
  bool empty() const noexcept { return size() == 0; }
  const OsAttr* begin() const noexcept { return many_.empty() ? &first_ : many_.data(); }
  const OsAttr* end() const noexcept { return begin() + size(); }
  const OsAttr& operator[](std::size_t index) const noexcept { return begin()[index]; }

  void push_back(OsAttr attr);
  void clear() noexcept;

  friend bool operator==(const OsAttrs& a, const OsAttrs& b) noexcept;

private:
  OsAttr first_;
  std::vector<OsAttr> many_;  // empty while there are fewer than two
  bool hasFirst_ = false;
};

}  // namespace fops
