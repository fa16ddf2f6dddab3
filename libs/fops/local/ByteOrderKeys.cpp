#include "libs/fops/local/ByteOrderKeys.h"

#include <algorithm>
#include <cstring>

#include "libs/fops/DirEntry.h"
#include "libs/fops/local/naturalCompare.h"

namespace fops {

namespace {

constexpr std::uint32_t HeadSize = 8;
constexpr char NumberMark = '0';  // any digit: it compares with other characters as the number's own digits would

void appendNumber(std::string& bytes, std::uint32_t number) {
  const char encoded[] = {NumberMark, static_cast<char>(number >> 24), static_cast<char>(number >> 16),
                          static_cast<char>(number >> 8), static_cast<char>(number)};
  bytes.append(encoded, sizeof encoded);
}

std::uint64_t headOf(const char* key, std::uint32_t length) noexcept {
  std::uint64_t head = 0;
  for (std::uint32_t i = 0; i < HeadSize; ++i) {
    head = head << 8 | (i < length ? static_cast<unsigned char>(key[i]) : 0U);
  }
  return head;
}

}  // namespace

bool ByteOrderKeys::build(const std::vector<std::uint32_t>& indices, bool utf8) {
  items_.reserve(indices.size());
  for (const std::uint32_t index : indices) {
    if (!append(index, utf8)) {
      return false;
    }
  }
  // The names of a large folder often begin alike ("IMG_00"); their keys tell them apart behind that.
  const std::uint32_t common = commonStart();
  for (Item& item : items_) {
    item.start += common;
    item.length -= common;
    if (item.overflowAt != NoOverflow) {
      item.overflowAt -= std::min(common, item.overflowAt);
    }
    item.head = headOf(bytes_.data() + item.start, item.length);
  }
  return true;
}

bool ByteOrderKeys::append(std::uint32_t index, bool utf8) {
  const char* name = list_[index].name.get();
  if (!name) {
    return false;
  }
  if (!utf8 && !std::all_of(name, name + std::strlen(name), [](char c) { return (c & 0x80) == 0; })) {
    return false;
  }
  const std::size_t start = bytes_.size();
  std::uint32_t overflowAt = NoOverflow;
  const char* digitsEnd = nullptr;
  while (const char* digits = findNumber(name, digitsEnd)) {
    bytes_.append(name, static_cast<std::size_t>(digits - name));
    name = digits;
    std::uint32_t number = 0;
    if (!readNumber(digits, digitsEnd, number)) {
      overflowAt = static_cast<std::uint32_t>(bytes_.size() - start);
      break;
    }
    appendNumber(bytes_, number);
    name = digitsEnd;
  }
  bytes_.append(name);
  items_.push_back(
      {0, static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(bytes_.size() - start), overflowAt, index});
  return true;
}

/// How many bytes all keys begin with, but for different kinds of number among them.
std::uint32_t ByteOrderKeys::commonStart() const noexcept {
  if (items_.empty()) {
    return 0;
  }
  const char* first = bytes_.data() + items_[0].start;
  std::uint32_t common = items_[0].length;
  for (const Item& item : items_) {
    std::uint32_t limit = std::min(common, item.length);
    if (item.overflowAt != items_[0].overflowAt) {
      limit = std::min({limit, item.overflowAt, items_[0].overflowAt});
    }
    const char* key = bytes_.data() + item.start;
    common = static_cast<std::uint32_t>(std::mismatch(key, key + limit, first).first - key);
  }
  return common;
}

/// The order of two keys' first `limit` bytes.
int ByteOrderKeys::compareBytes(const Item& a, const Item& b, std::uint32_t limit) const noexcept {
  const std::uint32_t aLength = std::min(a.length, limit);
  const std::uint32_t bLength = std::min(b.length, limit);
  const int order = std::memcmp(bytes_.data() + a.start, bytes_.data() + b.start, std::min(aLength, bLength));
  return order != 0 ? order : (aLength > bLength) - (aLength < bLength);
}

/// Two keys of which one has its number beyond 32 bits before the other's, or alone: they hold the same kind of bytes
/// up to that number, and behind it only if the other has no number in its place.
int ByteOrderKeys::compareMixed(const Item& a, const Item& b) const {
  const std::uint32_t same = std::min(a.overflowAt, b.overflowAt);
  if (const int order = compareBytes(a, b, same)) {
    return order;
  }
  const Item& other = a.overflowAt == same ? b : a;
  if (other.length > same && bytes_[other.start + same] == NumberMark) {
    return naturalCompare(list_[a.index].name.get(), list_[b.index].name.get());
  }
  return compareBytes(a, b, UINT32_MAX);
}

}  // namespace fops
