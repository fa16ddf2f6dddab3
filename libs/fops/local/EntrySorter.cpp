#include "libs/fops/local/EntrySorter.h"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "base/loc/LocaleSetter.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/local/ByteOrderKeys.h"
#include "libs/fops/local/CollationOrder.h"
#include "libs/fops/local/mergeSort.h"
#include "libs/fops/local/naturalCompare.h"

namespace fops {

namespace {

using Indices = std::vector<std::uint32_t>;

/// "C", "POSIX" and "C.UTF-8" in any spelling: their strcoll is strcmp.
bool collatesByByte(std::string_view localeName) {
  const std::string_view base = localeName.substr(0, localeName.find_first_of(".@"));
  return base == "C" || base == "POSIX";
}

/// Moves each entry to its place: the one at order[i] goes to i. In place, since a listing can be large.
void permute(std::vector<DirEntry>& list, Indices& order) {
  for (std::uint32_t start = 0; start < order.size(); ++start) {
    if (order[start] == start) {
      continue;
    }
    DirEntry held = std::move(list[start]);
    std::uint32_t hole = start;
    while (order[hole] != start) {
      const std::uint32_t from = order[hole];
      list[hole] = std::move(list[from]);
      order[hole] = hole;
      hole = from;
    }
    list[hole] = std::move(held);
    order[hole] = hole;
  }
}

/// Sorts indices by keys of bytes. @return false if a name has none; `group` is then as it was.
bool sortByKeys(const std::vector<DirEntry>& list, Indices& group, bool utf8) {
  ByteOrderKeys keys(list);
  if (!keys.build(group, utf8)) {
    return false;
  }
  mergeSort(keys.items(), [&](const auto& a, const auto& b) { return keys.compare(a, b); });
  for (std::size_t i = 0; i < group.size(); ++i) {
    group[i] = keys.items()[i].index;
  }
  return true;
}

}  // namespace

EntrySorter::EntrySorter() {
  const loc::LocaleSetter* setter = loc::LocaleSetter::current();
  utf8_ = collatesUtf8();
  // Without a setter nothing is known of the locale that strcoll will follow.
  byteOrder_ = setter && collatesByByte(setter->name());
}

void EntrySorter::sort(std::vector<DirEntry>& list) const {
  // Indices are sorted and the entries moved once, at the end: an entry is many times as large.
  Indices order;
  Indices files;
  for (std::uint32_t i = 0; i < list.size(); ++i) {
    ((list[i].flags & Directory) != 0 ? order : files).push_back(i);
  }
  std::optional<CollationOrder> collation;  // serves both groups, should they need it
  for (Indices* group : {&order, &files}) {
    if (group->size() < 2 || (byteOrder_ && sortByKeys(list, *group, utf8_))) {
      continue;
    }
    if (!collation) {
      collation.emplace(list, utf8_, byteOrder_);
    }
    mergeSort(*group, [&](std::uint32_t a, std::uint32_t b) { return collation->compare(a, b); });
  }
  order.insert(order.end(), files.begin(), files.end());
  permute(list, order);
}

}  // namespace fops
