#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/plat/NonCopyable.h"

namespace fops {

struct DirEntry;

/// naturalCompare over names where the locale collates by byte, as keys that compare by byte themselves: each number is
/// replaced by "0" and its value in four bytes. From a number beyond 32 bits on a key is the text as it stands, which
/// is how two such names compare; only against a number that fits do the names themselves have to be looked at.
///
/// Lifecycle: a local of EntrySorter::sort; the list must stay as it is meanwhile.
class ByteOrderKeys final : private plat::NonCopyable {
public:
  /// One name of the list, to be sorted as a value. Most comparisons end with `head`.
  struct Item {
    std::uint64_t head;        // the key's first eight bytes behind what all keys have in common
    std::uint32_t start;       // the place of the rest of the key
    std::uint32_t length;      // of that
    std::uint32_t overflowAt;  // where in it the number beyond 32 bits is; NoOverflow
    std::uint32_t index;       // in the list
  };

  explicit ByteOrderKeys(const std::vector<DirEntry>& list) : list_(list) {}

  /// Makes keys for the names at `indices`.
  /// @return false if some name has none: a null name, or one that the locale would reduce to another codeset.
  bool build(const std::vector<std::uint32_t>& indices, bool utf8);

  /// The names, in the order of `indices`.
  std::vector<Item>& items() noexcept { return items_; }

  int compare(const Item& a, const Item& b) const {
    if (a.overflowAt != b.overflowAt) {
      return compareMixed(a, b);
    }
    return a.head != b.head ? (a.head < b.head ? -1 : 1) : compareBytes(a, b, UINT32_MAX);
  }

private:
  static constexpr std::uint32_t NoOverflow = UINT32_MAX;

  bool append(std::uint32_t index, bool utf8);
  std::uint32_t commonStart() const noexcept;
  int compareBytes(const Item& a, const Item& b, std::uint32_t limit) const noexcept;
  int compareMixed(const Item& a, const Item& b) const;

  const std::vector<DirEntry>& list_;
  std::vector<Item> items_;
  std::string bytes_;
};

}  // namespace fops
