#include "base/plat/textTokens.h"

#include <cstring>

namespace plat {

namespace {

/// Cuts the next token off at the first separator. `Find` answers where the first separator of a text is, or null,
/// and stores its length.
template <class Find>
char* nextToken(char*& cursor, bool skipEmpty, const Find& find) noexcept {
  while (cursor != nullptr) {
    char* const token = cursor;
    std::size_t length = 0;
    char* const separator = find(token, length);
    cursor = separator != nullptr ? separator + length : nullptr;
    if (separator != nullptr) {
      *separator = '\0';
    }
    if (!skipEmpty || *token != '\0') {
      return token;
    }
  }
  return nullptr;
}

}  // namespace

char* strToken(char*& cursor, char separator, bool skipEmpty) noexcept {
  return nextToken(cursor, skipEmpty, [separator](char* text, std::size_t& length) {
    length = 1;
    return separator != '\0' ? std::strchr(text, separator) : nullptr;
  });
}

char* strTokenAny(char*& cursor, const char* characters, char* foundChar, bool skipEmpty) noexcept {
  char found = '\0';
  char* const token = nextToken(cursor, skipEmpty, [characters, &found](char* text, std::size_t& length) {
    length = 1;
    char* const at = characters != nullptr ? std::strpbrk(text, characters) : nullptr;
    found = at != nullptr ? *at : '\0';
    return at;
  });
  if (foundChar != nullptr) {
    *foundChar = found;
  }
  return token;
}

char* strTokenText(char*& cursor, const char* separator, bool skipEmpty) noexcept {
  return nextToken(cursor, skipEmpty, [separator](char* text, std::size_t& length) -> char* {
    length = separator != nullptr ? std::strlen(separator) : 0;
    return length > 0 ? std::strstr(text, separator) : nullptr;
  });
}

void strSplitSet(const char* text, std::set<std::string>& out, char separator) {
  while (text != nullptr) {
    const char* const end = separator != '\0' ? std::strchr(text, separator) : nullptr;
    if (end != nullptr) {
      out.emplace(text, end);
    } else {
      out.emplace(text);
    }
    text = end != nullptr ? end + 1 : nullptr;
  }
}

}  // namespace plat
