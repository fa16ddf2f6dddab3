// The functions of utf8.h that make new texts.

#include <cstdlib>
#include <cstring>

#include "base/plat/alloc.h"
#include "base/plat/utf8.h"

namespace plat {

namespace {

constexpr int euroSign = 0x20AC;
constexpr unsigned char euroByte = 0x80;

/// A text under construction whose greatest length is known beforehand; what is left over is given back at the end.
class Output {
public:
  explicit Output(std::size_t maxLength) noexcept
      : begin_(static_cast<char*>(allocOrDie(maxLength + 1))), cursor_(begin_) {}
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void put(char c) noexcept { *cursor_++ = c; }
  void put(const char* bytes, std::size_t count) noexcept {
    std::memcpy(cursor_, bytes, count);
    cursor_ += count;
  }
  void putCharacter(unsigned codePoint) noexcept { utf8Encode(codePoint, cursor_); }
  String finish() noexcept {
    *cursor_++ = '\0';
    return String::adopt(static_cast<char*>(reallocOrDie(begin_, static_cast<std::size_t>(cursor_ - begin_))));
  }

private:
  char* const begin_;
  char* cursor_;
};

/// Decodes the character at `text`, moving behind it. A malformed byte answers -1 and is passed over alone.
int decodeNext(const char*& text, const char* end) noexcept {
  const auto lead = static_cast<unsigned char>(*text++);
  const std::ptrdiff_t left = end - text;
  return utf8Decode(lead, text, static_cast<int>(left < 4 ? left : 4));
}

/// The end of `len` bytes of a text, or of all of it.
const char* endOf(const char* text, int len) noexcept {
  return text + (len < 0 ? std::strlen(text) : strnlen(text, static_cast<std::size_t>(len)));
}

void putEscaped(Output& out, unsigned char byte, char escape) noexcept {
  const unsigned low = byte & 0x7FU;
  out.put(escape);
  if (byte >= 0x80) {
    out.put('M');
  }
  if (low < 0x21 || low == 0x7F) {
    out.put('^');
    out.put(static_cast<char>(low ^ 0x40));
  } else {
    out.put('-');
    out.put(static_cast<char>(low));
  }
}

}  // namespace

String utf8Repair(const char* text, const char* end, int maxChars) noexcept {
  if (text == nullptr) {
    return nullptr;
  }
  if (end == nullptr) {
    end = text + std::strlen(text);
  }
  if (maxChars < 0 && isValidUtf8(text, end)) {
    return {text, static_cast<std::size_t>(end - text)};
  }
  static constexpr char replacement[] = "\xEF\xBF\xBD";
  // Each byte may become the three of U+FFFD.
  Output out(static_cast<std::size_t>(end - text) * 3);
  for (int count = 0; text < end && (maxChars < 0 || count < maxChars); ++count) {
    const char* const character = text;
    if (decodeNext(text, end) < 0) {
      out.put(replacement, 3);
    } else {
      out.put(character, static_cast<std::size_t>(text - character));
    }
  }
  return out.finish();
}

String utf8Escape(const char* text, char escape) noexcept {
  if (text == nullptr) {
    return nullptr;
  }
  const char* const end = text + std::strlen(text);
  Output out(static_cast<std::size_t>(end - text) * 4);
  while (text < end) {
    const char* const character = text;
    const int codePoint = decodeNext(text, end);
    if (codePoint < 0) {
      putEscaped(out, static_cast<unsigned char>(*character), escape);
    } else if (*character == escape) {
      out.put(escape);
      out.put(escape);
    } else if (codePoint < 0x20 || codePoint == 0x7F) {
      putEscaped(out, static_cast<unsigned char>(codePoint), escape);
    } else {
      out.put(character, static_cast<std::size_t>(text - character));
    }
  }
  return out.finish();
}

String utf8ToLatin1(const char* text, int len) noexcept {
  if (text == nullptr) {
    return nullptr;
  }
  const char* const end = endOf(text, len);
  Output out(static_cast<std::size_t>(end - text));
  while (text < end) {
    const int codePoint = decodeNext(text, end);
    if (codePoint < 0) {
      break;
    }
    if (codePoint == euroSign) {
      out.put(static_cast<char>(euroByte));
    } else {
      out.put(codePoint <= 0xFF ? static_cast<char>(codePoint) : '?');
    }
  }
  return out.finish();
}

String latin1ToUtf8(const char* bytes, int len) noexcept {
  if (bytes == nullptr) {
    return nullptr;
  }
  const char* const end = endOf(bytes, len);
  Output out(static_cast<std::size_t>(end - bytes) * 3);
  for (; bytes < end; ++bytes) {
    const auto byte = static_cast<unsigned char>(*bytes);
    out.putCharacter(byte == euroByte ? euroSign : byte);
  }
  return out.finish();
}

}  // namespace plat
