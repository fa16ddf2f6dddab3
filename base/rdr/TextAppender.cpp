#include "base/rdr/TextAppender.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/plat/Exception.h"
#include "base/rdr/exceptions.h"

namespace rdr {

namespace {

/// A printf that fails for want of room would have succeeded long before this.
constexpr int maxBlindSize = 1 << 20;

int encode(unsigned codePoint, std::uint8_t (&bytes)[4]) noexcept {
  const auto tail = [codePoint](int shift) { return static_cast<std::uint8_t>(0x80 | ((codePoint >> shift) & 0x3F)); };
  if (codePoint < 0x800) {
    bytes[0] = static_cast<std::uint8_t>(0xC0 | (codePoint >> 6));
    bytes[1] = tail(0);
    return 2;
  }
  if (codePoint < 0x10000) {
    bytes[0] = static_cast<std::uint8_t>(0xE0 | (codePoint >> 12));
    bytes[1] = tail(6);
    bytes[2] = tail(0);
    return 3;
  }
  if (codePoint <= 0x10FFFFF) {
    bytes[0] = static_cast<std::uint8_t>(0xF0 | (codePoint >> 18));
    bytes[1] = tail(12);
    bytes[2] = tail(6);
    bytes[3] = tail(0);
    return 4;
  }
  return 0;
}

}  // namespace

void TextAppender::ensureRoom(int bytes) {
  if (out_->getEnd() - out_->getPtr() < bytes) {
    out_->overrun(bytes, 1);
    if (out_->getEnd() - out_->getPtr() < bytes) {
      throw OutStreamFull();  // a stream whose window cannot reach that far, such as a framed one
    }
  }
}

/// Behind the last byte, without moving on: the next append overwrites it.
void TextAppender::storeNul() {
  ensureRoom(1);
  *out_->getPtr() = 0;
}

void TextAppender::appendText(const char* text, int len) {
  const std::size_t limit = len < 0 ? std::size_t{INT_MAX} : static_cast<std::size_t>(len);
  out_->writeBytes(text, text != nullptr ? static_cast<int>(strnlen(text, limit)) : 0);
  storeNul();
}

void TextAppender::appendFormat(const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  // The first guess; half of int's range leaves room for the terminator and for doubling.
  int size = static_cast<int>(strnlen(format, INT_MAX / 2));
  try {
    while ((size = tryFormat(size, format, args)) != 0) {
    }
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

/// Prints with room for `size` characters or more. @return 0 if that has done it, else the size to try next.
int TextAppender::tryFormat(int size, const char* format, std::va_list args) {
  ensureRoom(size + 1);
  const auto room = out_->getEnd() - out_->getPtr();
  // One print uses a list of arguments up.
  std::va_list copy;
  va_copy(copy, args);
  const int printed =
      std::vsnprintf(reinterpret_cast<char*>(out_->getPtr()), static_cast<std::size_t>(room), format, copy);
  va_end(copy);
  if (printed < 0) {
    if (size > maxBlindSize) {
      throw plat::Exception("TextAppender::appendFormat: cannot print");
    }
    return size * 2 + 1;
  }
  // Together with its terminator it would need more than an int can say.
  if (printed == INT_MAX) {
    throw OutStreamFull();
  }
  if (printed >= room) {
    return printed;
  }
  out_->setPtr(out_->getPtr() + printed);
  return 0;
}

void TextAppender::appendChars(unsigned codePoint, int count) {
  if (count < 1) {
    return;
  }
  if (codePoint < 0x80) {
    // The zero byte behind them would overflow the sum.
    if (count == INT_MAX) {
      throw OutStreamFull();
    }
    ensureRoom(count + 1);
    // Room for all of them was made above at one go, so that storeNul() cannot fail behind them.
    std::memset(out_->getPtr(), static_cast<int>(codePoint), static_cast<std::size_t>(count));
    out_->setPtr(out_->getPtr() + count);
  } else {
    std::uint8_t bytes[4];
    const int length = encode(codePoint, bytes);
    for (int i = 0; length > 0 && i < count; ++i) {
      out_->writeBytes(bytes, length);
    }
  }
  storeNul();
}

}  // namespace rdr
