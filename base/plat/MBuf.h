#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

#include "base/plat/alloc.h"
#include "base/plat/assert.h"

namespace plat {

/// Overwrites `n` bytes with zeros in a way that the compiler may not leave out.
void secureZero(void* p, std::size_t n) noexcept;

/// A counted buffer of plain elements that can wipe itself.
///
/// Purpose:   binary values and secrets. While `secure` is set, bytes that are freed, replaced or cut off are
///            overwritten with zeros first.
/// Ownership: owns a malloc'd buffer. Copying duplicates the elements and takes the flag over; moving takes both.
/// Failure:   running out of memory ends the process; a negative size is an assertion (thrown).
template <class T>
class MBuf {
  static_assert(std::is_trivially_copyable_v<T>);

public:
  MBuf() noexcept = default;
  /// `size` zero elements.
  /// @throws AssertionFail if `size` is negative; so for all that take a size.
  explicit MBuf(int size, bool secure = false) : secure_(secure) { resize(size); }
  MBuf(const T* data, int size, bool secure = false) : secure_(secure) { assign(data, size); }
  MBuf(const MBuf& other) : secure_(other.secure_) { assign(other.data_, other.size_); }
  MBuf(MBuf&& other) noexcept
      : size_(std::exchange(other.size_, 0)), data_(std::exchange(other.data_, nullptr)), secure_(other.secure_) {}
  ~MBuf() { dispose(); }

  MBuf& operator=(const MBuf& other) {
    if (this != &other) {
      assign(other.data_, other.size_);
      secure_ = other.secure_;
    }
    return *this;
  }
  MBuf& operator=(MBuf&& other) noexcept {
    if (this != &other) {
      dispose();
      size_ = std::exchange(other.size_, 0);
      data_ = std::exchange(other.data_, nullptr);
      secure_ = other.secure_;
    }
    return *this;
  }

  /// Number of elements, never negative.
  [[nodiscard]] int size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  /// The elements; may be null if there are none.
  [[nodiscard]] T* data() noexcept { return data_; }
  [[nodiscard]] const T* data() const noexcept { return data_; }
  [[nodiscard]] bool secure() const noexcept { return secure_; }
  void setSecure(bool secure) noexcept { secure_ = secure; }
  T& operator[](int i) noexcept { return data_[i]; }
  const T& operator[](int i) const noexcept { return data_[i]; }
  [[nodiscard]] T* begin() noexcept { return data_; }
  [[nodiscard]] T* end() noexcept { return data_ + size_; }
  [[nodiscard]] const T* begin() const noexcept { return data_; }
  [[nodiscard]] const T* end() const noexcept { return data_ + size_; }

  /// Replaces the contents by a copy of `size` elements, which may lie inside this buffer. The memory is reused if
  /// the value fits and, from 128 bytes on, fills at least half of it; so a large buffer does not outlive its use.
  void assign(const T* data, int size) {
    PLAT_REQUIRE(size >= 0);
    const bool large = bytes(size_) >= 128;
    if (data_ != nullptr && size <= size_ && (!large || bytes(size) * 2 >= bytes(size_))) {
      if (size > 0) {
        std::memmove(data_, data, bytes(size));
      }
      shrinkTo(size);
      return;
    }
    T* fresh = nullptr;
    if (size > 0) {
      fresh = static_cast<T*>(allocOrDie(bytes(size)));
      std::memcpy(fresh, data, bytes(size));
    }
    adopt(fresh, size);
  }

  /// Cuts the contents off or extends them by zero elements.
  void resize(int size) {
    PLAT_REQUIRE(size >= 0);
    if (size <= size_) {
      shrinkTo(size);
      return;
    }
    // Never realloc: it may move the elements and leave a copy of a secret behind.
    T* fresh = static_cast<T*>(allocOrDie(bytes(size)));
    if (size_ > 0) {
      std::memcpy(fresh, data_, bytes(size_));
    }
    std::memset(static_cast<void*>(fresh + size_), 0, bytes(size - size_));
    adopt(fresh, size);
  }

  /// Frees the memory; the flag stays.
  void clear() noexcept {
    dispose();
    data_ = nullptr;
    size_ = 0;
  }

  /// Takes over `size` elements in a buffer that came from malloc (null if there are none); the flag stays.
  void adopt(T* mallocBuffer, int size) noexcept {
    dispose();
    data_ = mallocBuffer;
    size_ = size;
  }

  /// Same size and same bytes; the flag does not count.
  friend bool operator==(const MBuf& a, const MBuf& b) noexcept {
    return a.size_ == b.size_ && (a.size_ == 0 || std::memcmp(a.data_, b.data_, bytes(a.size_)) == 0);
  }

private:
  static std::size_t bytes(int count) noexcept { return static_cast<std::size_t>(count) * sizeof(T); }
  void shrinkTo(int size) noexcept {
    if (secure_ && size < size_) {
      secureZero(data_ + size, bytes(size_ - size));
    }
    size_ = size;
  }
  void dispose() noexcept {
    shrinkTo(0);
    std::free(data_);
  }

  int size_ = 0;
  T* data_ = nullptr;
  bool secure_ = false;
};

}  // namespace plat
