#include "base/os/commandWords.h"

#include <cstring>
#include <string>

namespace os {

namespace {

/// Moves the cursor over one word and the separator behind it.
plat::String takeWord(const char*& cursor) {
  std::string word;
  bool isQuoted = false;
  for (; *cursor != '\0' && (isQuoted || std::strchr(" \t\r\n", *cursor) == nullptr); ++cursor) {
    if (*cursor == '"') {
      isQuoted = !isQuoted;
      continue;
    }
    if (*cursor == '\\' && cursor[1] != '\0') {
      ++cursor;
    }
    word += *cursor;
  }
  return plat::String(word.c_str());
}

}  // namespace

std::vector<plat::String> splitCommand(const char* text) {
  std::vector<plat::String> words;
  const char* cursor = text;
  for (;;) {
    cursor += std::strspn(cursor, " \t\r\n");
    if (*cursor == '\0') {
      return words;
    }
    words.push_back(takeWord(cursor));
  }
}

plat::String quoteForShell(const std::vector<plat::String>& words) {
  std::string text;
  for (const plat::String& word : words) {
    text += text.empty() ? "'" : " '";
    for (const char c : word.view()) {
      if (c == '\'') {
        text += "'\\''";  // nothing is special within single quotes, so the quote itself has to stand outside
      } else {
        text += c;
      }
    }
    text += '\'';
  }
  return plat::String(text.c_str());
}

}  // namespace os
