#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace fops {

/// Sorts with no demand on the order: every item is there once afterwards and no memory outside is touched, whatever
/// `compare` answers; std::sort and its kin promise neither unless it is a strict weak order. Equal items keep their
/// order.
/// @param compare negative, zero or positive for two items.
template <class Item, class Compare>
void mergeSort(std::vector<Item>& items, Compare&& compare) {
  const std::size_t count = items.size();
  std::vector<Item> other(count);
  for (std::size_t width = 1; width < count; width *= 2) {
    for (std::size_t low = 0; low < count; low += 2 * width) {
      const std::size_t middle = std::min(low + width, count);
      const std::size_t high = std::min(low + 2 * width, count);
      std::size_t left = low;
      std::size_t right = middle;
      std::size_t out = low;
      // Two runs that are in order already are taken over as they stand, at the cost of one comparison.
      if (right < high && compare(items[middle - 1], items[middle]) > 0) {
        while (left < middle && right < high) {
          other[out++] = compare(items[left], items[right]) <= 0 ? items[left++] : items[right++];
        }
      }
      std::copy(items.begin() + static_cast<std::ptrdiff_t>(left), items.begin() + static_cast<std::ptrdiff_t>(middle),
                other.begin() + static_cast<std::ptrdiff_t>(out));
      out += middle - left;
      std::copy(items.begin() + static_cast<std::ptrdiff_t>(right), items.begin() + static_cast<std::ptrdiff_t>(high),
                other.begin() + static_cast<std::ptrdiff_t>(out));
    }
    items.swap(other);
  }
}

}  // namespace fops
