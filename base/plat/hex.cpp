#include "base/plat/hex.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/plat/Exception.h"
#include "base/plat/assert.h"
#include "base/plat/fixedText.h"

namespace plat {

namespace {

constexpr char digits[] = "0123456789abcdef";

int digitValue(char c) noexcept {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

char hexDigit(int i) {
  PLAT_REQUIRE_AS(i >= 0 && i <= 15, "i >= 0 && i <= 15", "base/plat/BinToHex", __LINE__);
  return digits[i];
}

String binToHex(const void* bytes, std::size_t count) {
  const auto* in = static_cast<const unsigned char*>(bytes);
  char* const text = static_cast<char*>(allocOrDie(count * 2 + 1));
  char* out = text;
  for (std::size_t i = 0; i < count; ++i) {
    *out++ = digits[in[i] >> 4];
    *out++ = digits[in[i] & 15];
  }
  *out = '\0';
  return String::adopt(text);
}

bool hexToBin(const char* text, std::size_t count, std::uint8_t* out) noexcept {
  if (text == nullptr) {
    return count == 0;
  }
  for (std::size_t i = 0; i < count; ++i) {
    const int high = digitValue(text[2 * i]);
    // Only behind a good first digit: a text that ends early ends at its terminator, and nothing is read past that.
    const int low = high >= 0 ? digitValue(text[2 * i + 1]) : -1;
    if (low < 0) {
      return false;
    }
    out[i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return true;
}

bool tryHexToBuf(const char* text, MBuf<unsigned char>& out) {
  // Null is refused by way of a length that is odd.
  const std::size_t length = text != nullptr ? std::strlen(text) : 1;
  if (length % 2 != 0 || length / 2 > INT32_MAX) {
    return false;
  }
  // As secure as the target: the digits may spell a secret.
  MBuf<unsigned char> bytes(static_cast<int>(length / 2), out.secure());
  if (!hexToBin(text, length / 2, bytes.data())) {
    return false;
  }
  out = std::move(bytes);
  return true;
}

void hexToBuf(const char* text, MBuf<unsigned char>& out) {
  if (!tryHexToBuf(text, out)) {
    throw Exception("Bad hex string");
  }
}

/// Only printable ASCII shows as itself: bytes of a peer could hold sequences that a terminal obeys.
void hexDumpTo(std::FILE* file, const void* data, std::size_t length, const char* prefix, const char* linePrefix) {
  constexpr std::size_t perLine = 16;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (std::size_t offset = 0; offset < length; offset += perLine) {
    const char* const begin = offset == 0 ? prefix : linePrefix;
    char line[128] = "";
    // A prefix goes out by itself, as it may be of any length; the rest of a line has a known bound.
    if (begin == nullptr) {
      strFormatAppend(line, sizeof line, "%04zx ", offset);
    } else {
      std::fputs(begin, file);
    }
    const std::size_t count = std::min(perLine, length - offset);
    for (std::size_t i = 0; i < perLine; ++i) {
      if (i < count) {
        strFormatAppend(line, sizeof line, "%02x ", bytes[offset + i]);
      } else {
        // As wide as a byte, so that the text of a short last line stands below that of the others.
        strAppend(line, sizeof line, "   ");
      }
      if (i % 4 == 3) {
        strAppend(line, sizeof line, " ");
      }
    }
    for (std::size_t i = 0; i < count; ++i) {
      const unsigned char byte = bytes[offset + i];
      strAppendChars(line, sizeof line, byte >= 0x20 && byte <= 0x7E ? byte : '.', 1);
    }
    std::fprintf(file, "%s\n", line);
  }
}

void hexDump(const MBuf<unsigned char>& buffer, const char* prefix, const char* linePrefix) {
  hexDumpTo(stderr, buffer.data(), static_cast<std::size_t>(buffer.size()), prefix, linePrefix);
}

}  // namespace plat
