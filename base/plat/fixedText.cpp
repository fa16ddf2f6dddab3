#include "base/plat/fixedText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/plat/utf8.h"

namespace plat {

namespace {

/// The terminator's place, or `size` if there is none.
std::size_t usedBytes(const char* buffer, std::size_t size) noexcept {
  return strnlen(buffer, size);
}

/// Bytes that a character takes by its lead byte; 1 for what is no lead byte of a longer one.
std::size_t claimedLength(unsigned char lead) noexcept {
  if (lead >= 0xF0 && lead <= 0xF7) {
    return 4;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    return 3;
  }
  return lead >= 0xC0 && lead <= 0xDF ? 2 : 1;
}

/// Takes a character away whose beginning ends the text and whose end would lie past the buffer. The last four bytes
/// tell: no character is longer.
void dropSplitCharacter(char* buffer, std::size_t size, std::size_t length) noexcept {
  const std::size_t lowest = length > 4 ? length - 4 : 0;
  for (std::size_t i = length; i > lowest;) {
    --i;
    const auto byte = static_cast<unsigned char>(buffer[i]);
    if ((byte & 0xC0) != 0x80) {
      const std::size_t end = i + claimedLength(byte);
      if (end > length && end > size - 1) {
        buffer[i] = '\0';
      }
      return;
    }
  }
}

}  // namespace

void strAppend(char* buffer, std::size_t size, const char* text, int maxLen) noexcept {
  const std::size_t used = usedBytes(buffer, size);
  if (text == nullptr || used >= size) {
    return;
  }
  const std::size_t room = size - 1 - used;
  const std::size_t wanted = maxLen < 0 ? room : std::min(room, static_cast<std::size_t>(maxLen));
  const std::size_t count = strnlen(text, wanted);
  std::memmove(buffer + used, text, count);
  buffer[used + count] = '\0';
  dropSplitCharacter(buffer, size, used + count);
}

void strFormatAppend(char* buffer, std::size_t size, const char* fmt, ...) noexcept {
  std::va_list args;
  va_start(args, fmt);
  strFormatAppendV(buffer, size, fmt, args);
  va_end(args);
}

void strFormatAppendV(char* buffer, std::size_t size, const char* fmt, std::va_list args) noexcept {
  const std::size_t used = usedBytes(buffer, size);
  if (used >= size) {
    return;
  }
  const int needed = std::vsnprintf(buffer + used, size - used, fmt, args);
  if (needed < 0) {
    buffer[used] = '\0';
    return;
  }
  dropSplitCharacter(buffer, size, used + std::min(static_cast<std::size_t>(needed), size - 1 - used));
}

std::size_t strCopy(char* buffer, std::size_t size, const char* text) noexcept {
  const std::size_t length = text != nullptr ? std::strlen(text) : 0;
  if (size > 0) {
    const std::size_t count = std::min(length, size - 1);
    if (count > 0) {
      std::memmove(buffer, text, count);
    }
    buffer[count] = '\0';
    dropSplitCharacter(buffer, size, count);
  }
  return length;
}

void strAppendChars(char* buffer, std::size_t size, unsigned codePoint, int count) noexcept {
  const std::size_t used = usedBytes(buffer, size);
  if (used >= size || codePoint > 0x10FFFF) {
    return;
  }
  char encoded[4];
  char* encodedEnd = encoded;
  utf8Encode(codePoint, encodedEnd);
  const auto length = static_cast<std::size_t>(encodedEnd - encoded);
  char* out = buffer + used;
  for (std::size_t room = size - 1 - used; count > 0 && room >= length; --count, room -= length) {
    std::memcpy(out, encoded, length);
    out += length;
  }
  *out = '\0';
}

}  // namespace plat
