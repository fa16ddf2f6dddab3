#include "base/plat/utf8.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <wchar.h>

#include "base/plat/Exception.h"

// For what makes new texts see utf8Text.cpp.

namespace plat {

namespace {

constexpr std::uint64_t highBits = 0x8080808080808080U;

bool isContinuation(unsigned char byte) noexcept {
  return (byte & 0xC0) == 0x80;
}

/// Value and length tell whether the character is allowed; the bytes have been found to fit together.
bool isAllowed(unsigned codePoint, int length) noexcept {
  // A longer form than needed is refused: no character has a second spelling, which a check for the first would miss.
  constexpr unsigned lowestOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
  return codePoint >= lowestOfLength[length] && codePoint <= 0x10FFFF &&
         !(codePoint >= 0xD800 && codePoint <= 0xDFFF) && !(codePoint >= 0xFDD0 && codePoint <= 0xFDEF) &&
         (codePoint & 0xFFFE) != 0xFFFE;
}

const char* skipAscii(const char* p, const char* end) noexcept {
  for (; end - p >= 8; p += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, p, sizeof word);
    if ((word & highBits) != 0) {
      break;
    }
  }
  while (p != end && static_cast<signed char>(*p) >= 0) {
    ++p;
  }
  return p;
}

}  // namespace

int utf8Decode(unsigned char leadByte, const char*& cursor, int maxLen) noexcept {
  if (leadByte < 0x80) {
    return leadByte;
  }
  int further = 0;
  unsigned codePoint = 0;
  if (leadByte >= 0xC2 && leadByte <= 0xDF) {
    further = 1;
    codePoint = leadByte & 0x1FU;
  } else if (leadByte >= 0xE0 && leadByte <= 0xEF) {
    further = 2;
    codePoint = leadByte & 0x0FU;
  } else if (leadByte >= 0xF0 && leadByte <= 0xF4) {
    further = 3;
    codePoint = leadByte & 0x07U;
  } else {
    return -1;
  }
  if (maxLen >= 0 && maxLen < further) {
    return -1;
  }
  for (int i = 0; i < further; ++i) {
    const auto byte = static_cast<unsigned char>(cursor[i]);
    if (!isContinuation(byte)) {  // a terminator is none, so nothing is read behind it
      return -1;
    }
    codePoint = codePoint << 6 | (byte & 0x3FU);
  }
  if (!isAllowed(codePoint, further + 1)) {
    return -1;
  }
  cursor += further;
  return static_cast<int>(codePoint);
}

void utf8Encode(unsigned codePoint, char*& cursor) {
  const auto put = [&cursor](unsigned byte) { *cursor++ = static_cast<char>(byte); };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | codePoint >> 6);
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    put(0xE0 | codePoint >> 12);
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint <= 0x10FFFF) {
    put(0xF0 | codePoint >> 18);
    put(0x80 | (codePoint >> 12 & 0x3F));
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else {
    throw Exception("Unicode out of range");
  }
}

bool isValidUtf8(const char* text, const char* end) noexcept {
  if (text == nullptr) {
    return true;
  }
  if (end == nullptr) {
    end = text + std::strlen(text);
  }
  for (;;) {
    text = skipAscii(text, end);
    // Stays here while characters of several bytes follow each other, as in most scripts they do.
    while (text != end && static_cast<signed char>(*text) < 0) {
      const auto lead = static_cast<unsigned char>(*text++);
      if (utf8Decode(lead, text, static_cast<int>(std::min<std::ptrdiff_t>(end - text, 4))) < 0) {
        return false;
      }
    }
    if (text == end) {
      return true;
    }
  }
}

int utf8Width(const char* text, const char* end) noexcept {
  if (text == nullptr) {
    return 0;
  }
  int width = 0;
  while (end != nullptr ? text < end : *text != '\0') {
    const auto lead = static_cast<unsigned char>(*text++);
    const int maxLen = end != nullptr ? static_cast<int>(std::min<std::ptrdiff_t>(end - text, 4)) : -1;
    const int codePoint = utf8Decode(lead, text, maxLen);
    if (codePoint < 0) {
      break;
    }
    const bool plain = codePoint >= 0x20 && codePoint < 0x7F;
    const int columns = plain ? 1 : wcwidth(static_cast<wchar_t>(codePoint));
    width += columns < 0 ? 1 : columns;
  }
  return width;
}

int utf8Boundary(const char* text, int& start, int& len) noexcept {
  const int length = text != nullptr ? static_cast<int>(std::strlen(text)) : 0;
  const auto characterStart = [text](int at) {
    int begin = at;
    // No character has more than three bytes behind its lead byte; more of them belong to nothing.
    while (begin > 0 && at - begin < 3 && isContinuation(static_cast<unsigned char>(text[begin]))) {
      --begin;
    }
    return isContinuation(static_cast<unsigned char>(text[begin])) ? at : begin;
  };
  int from = std::clamp(start, 0, length);
  int to = from + std::clamp(len, 0, length - from);
  if (text != nullptr) {
    from = characterStart(from);
    to = characterStart(to);
  }
  start = from;
  len = to - from;
  return length;
}

}  // namespace plat
