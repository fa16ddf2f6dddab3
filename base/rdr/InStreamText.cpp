// The operations of InStream that read texts and runs of bytes.

#include <algorithm>
#include <climits>
#include <cstring>

#include "base/plat/DString.h"
#include "base/plat/String.h"
#include "base/plat/alloc.h"
#include "base/plat/utf8.h"
#include "base/rdr/InStream.h"
#include "base/rdr/exceptions.h"

namespace rdr {

namespace {

constexpr std::uint32_t defaultMaxLine = 262144;
/// With the terminator, the most that a text's buffer can have.
constexpr std::uint32_t maxTextLength = INT_MAX - 1;

/// Puts the repaired form of a malformed text in place of it. Answers whether it was sound as it stood.
bool repair(plat::DString& text) {
  if (plat::isValidUtf8(text.get())) {
    return true;
  }
  plat::String repaired = plat::utf8Repair(text.get());
  const int capacity = static_cast<int>(repaired.length()) + 1;
  text.adopt(repaired.release(), capacity);
  return false;
}

/// Collects the characters of a line in a string's own buffer, which is a terminated text at any moment.
class LineBuffer {
public:
  LineBuffer(plat::DString& dest, std::uint32_t maxLength) : text_(dest), limit_(maxLength) {
    text_.reserve(64);
    text_.clear();
  }

  [[nodiscard]] bool empty() const noexcept { return count_ == 0; }
  [[nodiscard]] bool tooLong() const noexcept { return count_ > limit_; }

  void add(char c) {
    if (count_ + 2 > static_cast<std::uint32_t>(text_.capacity())) {
      text_.reserve(static_cast<int>(count_) + 2);
    }
    text_.data()[count_] = c;
    text_.data()[++count_] = '\0';
  }

private:
  plat::DString& text_;
  const std::uint32_t limit_;
  std::uint32_t count_ = 0;
};

}  // namespace

std::uint32_t InStream::readFixed(void* dest, std::uint32_t len) {
  constexpr std::uint32_t none = 0xFFFFFFFF;
  auto* const bytes = static_cast<std::uint8_t*>(dest);
  std::uint32_t firstZero = none;
  for (std::uint32_t done = 0; done < len;) {
    if (ptr == end) {
      check(true, 1);
    }
    const std::uint32_t piece = std::min(len - done, static_cast<std::uint32_t>(nUnread()));
    const std::uint8_t* from = readInPlace(static_cast<int>(piece));
    std::memcpy(bytes + done, from, piece);
    if (firstZero == none) {
      if (const void* zero = std::memchr(from, 0, piece)) {
        firstZero = done + static_cast<std::uint32_t>(static_cast<const std::uint8_t*>(zero) - from);
      }
    }
    done += piece;
  }
  return firstZero;
}

void InStream::readBytesInto(std::uint32_t len, plat::DString& dest, bool fixUtf8) {
  if (len > maxTextLength) {
    throw StringTooLongException();
  }
  dest.reserve(static_cast<int>(len) + 1);
  dest.data()[len] = '\0';  // ahead of the read, which may raise: never leave a text without its end
  readFixed(dest.data(), len);
  if (fixUtf8) {
    repair(dest);
  }
}

plat::String InStream::readFixedString(std::uint32_t len, bool fixUtf8) {
  if (len > maxTextLength) {
    throw StringTooLongException();
  }
  auto* const buffer = static_cast<char*>(plat::allocOrDie(std::size_t{len} + 1));
  buffer[len] = '\0';
  plat::String text = plat::String::adopt(buffer);
  readFixed(buffer, len);
  if (fixUtf8 && !plat::isValidUtf8(buffer)) {
    return plat::utf8Repair(buffer);
  }
  return text;
}

plat::String InStream::readShortString(bool fixUtf8) {
  const std::uint8_t len = readU8();
  return readFixedString(len, fixUtf8);
}

plat::String InStream::readString(std::uint32_t maxLength, bool fixUtf8) {
  const std::uint32_t len = readU32();
  // Ahead of the allocation: the length is the sender's word.
  if (len > maxLength) {
    throw StringTooLongException();
  }
  return readFixedString(len, fixUtf8);
}

bool InStream::readLine(plat::DString& dest, std::uint32_t maxLength, bool* sawNul, bool fixUtf8) {
  if (sawNul != nullptr) {
    *sawNul = false;
  }
  // A limit in any case: a stream without line feeds must not fill the memory.
  LineBuffer line(dest, std::min(maxLength == 0 ? defaultMaxLine : maxLength, maxTextLength - 1));
  try {
    while (!line.tooLong()) {
      const char c = static_cast<char>(readU8());
      if (c == '\n') {
        break;
      }
      if (c == '\r') {
        continue;
      }
      if (c == '\0' && sawNul != nullptr) {
        *sawNul = true;
      }
      line.add(c);
    }
  } catch (const EndOfStream&) {
    if (line.empty()) {
      throw;
    }
  } catch (const EndOfMsg&) {
    if (line.empty()) {
      throw;
    }
  }
  if (line.tooLong()) {
    dest.clear();
    throw StringTooLongException();
  }
  return !fixUtf8 || repair(dest);
}

std::uint32_t InStream::readUniform(std::uint32_t bound) {
  if (bound == 0) {
    return readU32();
  }
  // Values below the threshold would make the small remainders come up once more often than the others.
  const std::uint32_t threshold = (0U - bound) % bound;
  std::uint32_t value = readU32();
  for (int reads = 1; value < threshold && reads < 9; ++reads) {
    value = readU32();
  }
  return value % bound;
}

}  // namespace rdr
