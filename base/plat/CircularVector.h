#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include "base/plat/NonCopyable.h"
#include "base/plat/assert.h"

namespace plat {

/// A queue in a ring buffer: cheap at both ends, indexable from the front, growing by doubling, never shrinking.
/// Meant for small plain values such as pointers: slots that are not in use keep their last value.
/// Owned as a value; no thread of its own, no locks.
template <class T>
class CircularVector : NonCopyable {
public:
  std::uint32_t size() const noexcept { return tail_ - head_; }
  bool empty() const noexcept { return tail_ == head_; }
  std::uint32_t capacity() const noexcept { return capacity_; }

  /// `index` 0 is the front; must be below size().
  T& operator[](std::uint32_t index) noexcept { return data_[(head_ + index) & mask_]; }
  const T& operator[](std::uint32_t index) const noexcept { return data_[(head_ + index) & mask_]; }
  T& front() noexcept { return (*this)[0]; }

  /// @throws AssertionFail if the queue cannot grow any more.
  void pushBack(T value) {
    if (size() == capacity_) {
      grow(size());
    }
    data_[tail_++ & mask_] = std::move(value);
  }

  /// The queue must not be empty.
  T popFront() noexcept { return std::move(data_[head_++ & mask_]); }

  /// Takes out the element at `index`, below size(); those behind it move up by one.
  void erase(std::uint32_t index) noexcept {
    for (std::uint32_t i = index; i + 1 < size(); ++i) {
      (*this)[i] = std::move((*this)[i + 1]);
    }
    --tail_;
  }

  /// Makes room, so that `count` elements fit without growing again.
  /// @throws AssertionFail "0 < newCapacity && newCapacity <= 0x3fffffffu"
  void reserve(std::uint32_t count) {
    if (count > capacity_) {
      grow(count - 1);
    }
  }

private:
  // The next power of two above `aboveSize`, at least 8.
  void grow(std::uint32_t aboveSize) {
    std::uint32_t newCapacity = 8;
    while (newCapacity != 0 && newCapacity <= aboveSize) {
      newCapacity <<= 1;
    }
    PLAT_REQUIRE_AS(0 < newCapacity && newCapacity <= 0x3fffffffu, "0 < newCapacity && newCapacity <= 0x3fffffffu",
                    "base/plat/CircularVector", __LINE__);
    auto newData = std::make_unique<T[]>(newCapacity);
    const std::uint32_t count = size();
    for (std::uint32_t i = 0; i < count; ++i) {
      newData[i] = std::move((*this)[i]);
    }
    data_ = std::move(newData);
    capacity_ = newCapacity;
    mask_ = newCapacity - 1;
    head_ = 0;
    tail_ = count;
  }

  std::uint32_t capacity_ = 0;  // a power of two, at least 8; 0 before the first element
  std::uint32_t mask_ = 0;      // capacity_ - 1
  std::uint32_t head_ = 0;      // running counters, masked on access, so that their difference is the size
  std::uint32_t tail_ = 0;
  std::unique_ptr<T[]> data_;
};

}  // namespace plat
