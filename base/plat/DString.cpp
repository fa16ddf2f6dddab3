#include "base/plat/DString.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/plat/alloc.h"
#include "base/plat/assert.h"

namespace plat {

namespace {

/// A result of vsnprintf below 0 may mean too little room to old C libraries and is permanent to new ones: give up
/// once there is more room than any of them could have wanted.
constexpr std::size_t maxBlindRoom = std::size_t{1} << 20;

std::size_t boundedLength(const char* text, int length) noexcept {
  return length < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(length));
}

/// Sizes are int. One that wrapped would make the buffer smaller than what is copied into it, so the process ends, as
/// it does when memory runs out.
int checkedSize(std::size_t bytes) noexcept {
  if (bytes > INT_MAX) {
    std::fputs("text too long\n", stderr);
    std::abort();
  }
  return static_cast<int>(bytes);
}

}  // namespace

DString::DString(const char* text) noexcept {
  append(text);
}

DString::DString(DString&& other) noexcept
    : NonCopyable(), data_(std::exchange(other.data_, nullptr)), capacity_(std::exchange(other.capacity_, 0)) {}

DString& DString::operator=(DString&& other) noexcept {
  if (this != &other) {
    const int capacity = std::exchange(other.capacity_, 0);
    adopt(std::exchange(other.data_, nullptr), capacity);
  }
  return *this;
}

DString::~DString() {
  std::free(data_);
}

std::size_t DString::length() const noexcept {
  return data_ != nullptr ? std::strlen(data_) : 0;
}

bool DString::owns(const char* text) const noexcept {
  return data_ != nullptr && text >= data_ && text < data_ + capacity_;
}

void DString::reserve(int n) noexcept {
  if (n <= capacity_) {
    return;
  }
  constexpr int largestPower = INT_MAX / 2 + 1;
  int capacity = 8;
  while (capacity < n) {
    // The last doubling would overflow; the largest int stands in for the power that there is no room for.
    capacity = capacity < largestPower ? capacity * 2 : INT_MAX;
  }
  const bool fresh = data_ == nullptr;
  data_ = static_cast<char*>(reallocOrDie(data_, static_cast<std::size_t>(capacity)));
  capacity_ = capacity;
  if (fresh) {
    *data_ = '\0';
  }
}

DString& DString::append(const char* text, int length) noexcept {
  if (text != nullptr) {
    // Making room may move the buffer, and with it the text that is to be appended.
    const String copy = owns(text) ? String(text) : String();
    const char* const source = copy.isNull() ? text : copy.get();
    const std::size_t oldLength = this->length();
    const std::size_t added = boundedLength(source, length);
    reserve(checkedSize(oldLength + added + 1));
    std::memcpy(data_ + oldLength, source, added);
    data_[oldLength + added] = '\0';
  }
  return *this;
}

DString& DString::appendFormat(const char* fmt, ...) noexcept {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
  return *this;
}

DString& DString::appendFormatV(const char* fmt, std::va_list args) noexcept {
  const std::size_t oldLength = length();
  // A guess that mostly spares the second print; what is really needed is known only after the first.
  std::size_t room = std::strlen(fmt) + 1;
  for (;;) {
    reserve(checkedSize(oldLength + room));
    room = static_cast<std::size_t>(capacity_) - oldLength;
    // vsnprintf uses its list up, and a second round may be needed.
    std::va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(data_ + oldLength, room, fmt, copy);
    va_end(copy);
    if (needed >= 0 && static_cast<std::size_t>(needed) < room) {
      return *this;
    }
    if (needed < 0 && room > maxBlindRoom) {
      // Whatever the failed print has left there is taken back.
      data_[oldLength] = '\0';
      return *this;
    }
    room = needed < 0 ? room * 2 : static_cast<std::size_t>(needed) + 1;
  }
}

DString& DString::appendChar(char c) noexcept {
  const std::size_t oldLength = length();
  reserve(checkedSize(oldLength + 2));
  data_[oldLength] = c;
  data_[oldLength + 1] = '\0';
  return *this;
}

void DString::replaceRange(int start, int end, const char* text, int length) noexcept {
  const std::size_t oldLength = this->length();
  if (start < 0 || end < start || static_cast<std::size_t>(end) > oldLength) {
    return;
  }
  const String copy = text != nullptr && owns(text) ? String(text) : String();
  const char* const source = copy.isNull() ? text : copy.get();
  const std::size_t added = source != nullptr ? boundedLength(source, length) : 0;
  const auto removed = static_cast<std::size_t>(end - start);
  if (added == removed && added == 0) {
    return;
  }
  reserve(checkedSize(oldLength - removed + added + 1));
  char* const at = data_ + start;
  // The terminator moves along, so the text is whole again without a further step.
  std::memmove(at + added, data_ + end, oldLength - static_cast<std::size_t>(end) + 1);
  if (added > 0) {
    std::memcpy(at, source, added);
  }
}

void DString::replaceAll(const char* find, const char* with) {
  const std::size_t findLen = find != nullptr ? std::strlen(find) : 0;
  PLAT_REQUIRE_AS(findLen, "findLen", "base/plat/DString", __LINE__);
  const char* next = data_ != nullptr ? std::strstr(data_, find) : nullptr;
  if (next == nullptr) {
    return;
  }
  // Built anew in one pass; replacing in place would move the rest of the text once per occurrence.
  const char* rest = data_;
  const std::size_t withLen = with != nullptr ? std::strlen(with) : 0;
  std::size_t count = 0;
  for (const char* at = next; at != nullptr; at = std::strstr(at + findLen, find)) {
    ++count;
  }
  DString result;
  result.reserve(checkedSize(length() - count * findLen + count * withLen + 1));
  char* out = result.data_;
  for (; next != nullptr; next = std::strstr(rest, find)) {
    const auto kept = static_cast<std::size_t>(next - rest);
    std::memcpy(out, rest, kept);  // NOLINT(clang-analyzer-core.NonNullParamChecker): reserve() has made room
    out += kept;
    if (withLen > 0) {
      std::memcpy(out, with, withLen);  // NOLINT(bugprone-not-null-terminated-result): the rest brings the terminator
      out += withLen;
    }
    rest = next + findLen;
  }
  std::memcpy(out, rest, std::strlen(rest) + 1);
  *this = std::move(result);
}

void DString::clear() noexcept {
  if (data_ != nullptr) {
    *data_ = '\0';
  }
}

void DString::adopt(char* mallocBuffer, int capacity) noexcept {
  std::free(data_);
  data_ = mallocBuffer;
  capacity_ = mallocBuffer != nullptr ? capacity : 0;
}

String DString::takeString() noexcept {
  capacity_ = 0;
  return String::adopt(std::exchange(data_, nullptr));
}

}  // namespace plat
