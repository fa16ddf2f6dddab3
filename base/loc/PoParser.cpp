#include "base/loc/PoParser.h"

#include <cstring>
#include <string_view>

#include "base/loc/localeLog.h"
#include "base/plat/DString.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/InStream.h"
#include "base/rdr/exceptions.h"

namespace loc {

namespace {

/// What an escaped character stands for, 0 for one that may not be escaped.
char unescape(char letter) {
  constexpr char Letters[] = "\"'?\\abfnrtv";
  constexpr char Meanings[] = "\"'?\\\a\b\f\n\r\t\v";
  static_assert(sizeof Letters == sizeof Meanings);
  const char* found = letter ? std::strchr(Letters, letter) : nullptr;
  return found ? Meanings[found - Letters] : '\0';
}

/// Appends what a quoted text, with blanks ahead of it, stands for.
/// @return null, or what is wrong with it; `text` is then as it was.
const char* appendString(const char* cursor, std::string& text) {
  while (*cursor == ' ') {
    ++cursor;
  }
  if (*cursor != '"') {
    return "Junk preceding string data";
  }
  std::string decoded;
  for (++cursor; *cursor != '"'; ++cursor) {
    if (*cursor == '\0') {
      return "Missing terminator";
    }
    if (*cursor != '\\') {
      decoded += *cursor;
      continue;
    }
    if (*++cursor == '\0') {
      return "Invalid escape at end";
    }
    const char meaning = unescape(*cursor);
    if (!meaning) {
      return "Invalid escape code";
    }
    decoded += meaning;
  }
  if (cursor[1] != '\0') {
    return "Junk following string data";
  }
  text += decoded;
  return nullptr;
}

/// Reads the next line. @param sound set to whether it came as valid UTF-8. @return false at the end of the stream.
bool nextLine(rdr::InStream& in, plat::DString& line, bool& sound) {
  try {
    sound = in.readLine(line, 0, nullptr, true);
    return true;
  } catch (const rdr::EndOfStream&) {
    return false;
  }
}

}  // namespace

PoParser::PoParser(const char* path, const char* locale, Callback& callback)
    : path_(path), locale_(locale), callback_(callback) {}

void PoParser::parse(rdr::InStream& in) {
  plat::DString line;
  for (bool more = true; more;) {
    ++line_;
    bool sound = true;
    more = nextLine(in, line, sound);
    if (!sound) {
      localeLog().error("%s:%d Bad UTF-8 (%s) for '%s' locale", path_, line_, msgid_.c_str(), locale_);
    }
    if (!more || line.empty()) {
      endEntry();
    } else if (const char* error = takeLine(line.get())) {
      report(error);
    }
  }
}

const char* PoParser::takeLine(const char* line) {
  if (*line == '#') {
    return nullptr;
  }
  if (*line == '"') {
    return appendString(line, state_ == State::InId ? msgid_ : msgstr_);
  }
  const char* blank = std::strchr(line, ' ');
  if (!blank || blank[1] == '\0' || state_ == State::InText) {
    return "Bad command or string";
  }
  const bool wantsId = state_ == State::AwaitId;
  if (std::string_view(line, blank) != (wantsId ? "msgid" : "msgstr")) {
    return wantsId ? "Expected msgid" : "Expected msgstr";
  }
  const char* error = appendString(blank + 1, wantsId ? msgid_ : msgstr_);
  if (!error) {
    state_ = wantsId ? State::InId : State::InText;
  }
  return error;
}

/// An entry with an empty key is the file's own header, by the custom of the format, and no text.
void PoParser::endEntry() {
  if (state_ == State::InId) {
    report("Expected msgstr");
  } else if (!msgid_.empty()) {
    callback_.storeString(locale_, msgid_.c_str(), msgstr_.c_str());
  }
  msgid_.clear();
  msgstr_.clear();
  state_ = State::AwaitId;
}

void PoParser::report(const char* error) const {
  localeLog().error("%s:%d %s", path_, line_, error);
}

}  // namespace loc
