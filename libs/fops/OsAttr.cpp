#include "libs/fops/OsAttr.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/plat/assert.h"

namespace fops {

OsAttr::OsAttr(std::string_view name, std::span<const std::uint8_t> value)
    : nameLength_(static_cast<std::uint32_t>(name.size())), valueLength_(static_cast<std::uint32_t>(value.size())) {
  PLAT_REQUIRE(value.size() <= MaxValueSize);
  std::uint8_t* to = small_;
  const std::size_t total = name.size() + 1 + value.size();
  if (total > sizeof small_) {
    large_ = std::make_unique<std::uint8_t[]>(total);
    to = large_.get();
  }
  std::copy(name.begin(), name.end(), to);
  std::copy(value.begin(), value.end(), to + name.size() + 1);
}

OsAttr::OsAttr(const OsAttr& other) : OsAttr(other.nameView(), other.value()) {}

OsAttr::OsAttr(OsAttr&& other) noexcept
    : nameLength_(std::exchange(other.nameLength_, 0)),
      valueLength_(std::exchange(other.valueLength_, 0)),
      large_(std::move(other.large_)) {
  std::memcpy(small_, other.small_, sizeof small_);
  // So that the name of what was moved from reads as empty, which its length says it is.
  other.small_[0] = 0;
}

OsAttr& OsAttr::operator=(const OsAttr& other) {
  if (this != &other) {
    *this = OsAttr(other);
  }
  return *this;
}

OsAttr& OsAttr::operator=(OsAttr&& other) noexcept {
  if (this != &other) {
    nameLength_ = std::exchange(other.nameLength_, 0);
    valueLength_ = std::exchange(other.valueLength_, 0);
    large_ = std::move(other.large_);
    std::memcpy(small_, other.small_, sizeof small_);
    other.small_[0] = 0;
  }
  return *this;
}

std::span<const std::uint8_t> OsAttr::value() const noexcept {
  return {bytes() + nameLength_ + 1, valueLength_};
}

bool operator==(const OsAttr& a, const OsAttr& b) noexcept {
  return a.nameView() == b.nameView() && std::ranges::equal(a.value(), b.value());
}

void OsAttrs::push_back(OsAttr attr) {
  if (size() == 0) {
    first_ = std::move(attr);
    hasFirst_ = true;
    return;
  }
  if (many_.empty()) {
    many_.reserve(2);
    many_.push_back(std::move(first_));
    hasFirst_ = false;
  }
  many_.push_back(std::move(attr));
}

void OsAttrs::clear() noexcept {
  first_ = OsAttr();
  many_.clear();
  hasFirst_ = false;
}

bool operator==(const OsAttrs& a, const OsAttrs& b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

}  // namespace fops
