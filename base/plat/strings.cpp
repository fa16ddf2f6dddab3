#include "base/plat/strings.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

#include <wctype.h>

#include "base/plat/utf8.h"

namespace plat {

namespace {

constexpr const char* trimmed = " \t\n\r";

/// By ASCII rules whatever the locale: names of parameters and the like are to match alike for every user. Bytes are
/// taken as unsigned, so that the order does not depend on what `char` is on a machine.
int compareNoCase(std::string_view a, std::string_view b) noexcept {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const auto left = static_cast<unsigned char>(toLowerAscii(a[i]));
    const auto right = static_cast<unsigned char>(toLowerAscii(b[i]));
    if (left != right) {
      return left < right ? -1 : 1;
    }
  }
  return (a.size() > b.size()) - (a.size() < b.size());
}

bool sameByte(char a, char b, bool caseSensitive) noexcept {
  return a == b ||
         (!caseSensitive && std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b)));
}

}  // namespace

// Null counts as absent in all of these, so that a lookup that found nothing can be tested without a check in front.
bool strStartsWith(const char* text, const char* prefix) noexcept {
  if (prefix == nullptr || text == nullptr) {
    return prefix == nullptr || *prefix == '\0';
  }
  return std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

bool strEndsWith(const char* text, const char* suffix) noexcept {
  if (text == nullptr || suffix == nullptr) {
    return text == suffix;
  }
  return std::string_view(text).ends_with(suffix);
}

bool strEndsWithNoCase(const char* text, const char* suffix) noexcept {
  if (text == nullptr || suffix == nullptr) {
    return text == suffix;
  }
  const std::string_view whole(text);
  const std::string_view tail(suffix);
  return whole.size() >= tail.size() && compareNoCase(whole.substr(whole.size() - tail.size()), tail) == 0;
}

int strCompareNoCase(const char* a, const char* b) noexcept {
  if (a == nullptr || b == nullptr) {
    return (a != nullptr) - (b != nullptr);
  }
  return compareNoCase(a, b);
}

bool NoCaseLess::operator()(std::string_view a, std::string_view b) const noexcept {
  return compareNoCase(a, b) < 0;
}

std::size_t strCount(const char* text, std::size_t limit) noexcept {
  return text != nullptr ? strnlen(text, limit) : 0;
}

String strDup(const char* text, std::size_t limit) noexcept {
  return {text, strCount(text, limit)};
}

String strTrim(const char* text) noexcept {
  if (text == nullptr) {
    return nullptr;
  }
  text += std::strspn(text, trimmed);
  std::size_t length = std::strlen(text);
  while (length > 0 && std::strchr(trimmed, text[length - 1]) != nullptr) {
    --length;
  }
  return {text, length};
}

void strRemoveChars(char* text, const char* characters) noexcept {
  if (text == nullptr || characters == nullptr) {
    return;
  }
  char* out = text;
  for (; *text != '\0'; ++text) {
    if (std::strchr(characters, *text) == nullptr) {
      *out++ = *text;
    }
  }
  *out = '\0';
}

void strToLowerAscii(char* text) noexcept {
  for (; text != nullptr && *text != '\0'; ++text) {
    *text = toLowerAscii(*text);
  }
}

void strToUpperAscii(char* text) noexcept {
  for (; text != nullptr && *text != '\0'; ++text) {
    if (*text >= 'a' && *text <= 'z') {
      *text = static_cast<char>(*text - 'a' + 'A');
    }
  }
}

/// Through code points, since the library's wide characters are just these here; the locale decides only what the
/// small letter is. Its length in UTF-8 may differ, which rules out folding in place.
String strToLowerLocale(const char* text) {
  if (text == nullptr) {
    return nullptr;
  }
  std::string out;
  while (*text != '\0') {
    const char* next = text + 1;
    const int codePoint = utf8Decode(static_cast<unsigned char>(*text), next, -1);
    if (codePoint < 0) {
      // One byte at a time: decoding has not moved `next`, so a good character behind a bad byte is still found.
      out += *text;
    } else {
      char encoded[4];
      char* end = encoded;
      utf8Encode(static_cast<unsigned>(towlower(static_cast<wint_t>(codePoint))), end);
      out.append(encoded, end);
    }
    text = next;
  }
  return String(out);
}

std::uint64_t hashFnv1a(const void* data, std::size_t length) noexcept {
  // The offset basis and below the prime of 64-bit FNV-1a, as published: other values would be another hash.
  std::uint64_t hash = 0xCBF29CE484222325U;
  const auto* bytes = static_cast<const unsigned char*>(data);
  for (std::size_t i = 0; i < length; ++i) {
    hash = (hash ^ bytes[i]) * 0x100000001B3U;
  }
  return hash;
}

bool wildcardMatch(const char* pattern, const char* text, bool caseSensitive) noexcept {
  if (pattern == nullptr || text == nullptr) {
    return false;
  }
  // Where to go on if the bytes behind the last star turn out not to match: one byte further in the text. Going back
  // to the last star alone is enough, which keeps this from growing exponentially.
  const char* afterStar = nullptr;
  const char* retry = nullptr;
  while (*text != '\0') {
    if (*pattern == '*') {
      afterStar = ++pattern;
      retry = text;
    } else if (*pattern != '\0' && sameByte(*pattern, *text, caseSensitive)) {
      ++pattern;
      ++text;
    } else if (afterStar != nullptr) {
      pattern = afterStar;
      text = ++retry;
    } else {
      return false;
    }
  }
  // The text is used up; stars that are left match nothing, anything else would want more text.
  return pattern[std::strspn(pattern, "*")] == '\0';
}

}  // namespace plat
