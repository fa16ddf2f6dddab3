#include "base/loc/format.h"

#include <cinttypes>
#include <cstdio>
#include <optional>
#include <string>

#include "base/loc/badString.h"
#include "base/plat/DString.h"
#include "base/plat/utf8.h"

namespace loc {

namespace {

/// One parsed conversion.
struct Conversion {
  std::size_t position = 0;  ///< from 1; 0 for none
  bool plus = false;
  int maxChars = -1;
  char letter = 0;
};

constexpr std::size_t NumberLimit = 1000000;  // no text has more arguments or characters than this

/// Reads decimal digits; nothing if there are none or too many.
std::optional<std::size_t> readNumber(const char*& cursor) {
  std::size_t value = 0;
  const char* start = cursor;
  while (*cursor >= '0' && *cursor <= '9' && value < NumberLimit) {
    value = value * 10 + static_cast<std::size_t>(*cursor++ - '0');
  }
  return cursor == start || value >= NumberLimit ? std::nullopt : std::optional(value);
}

/// Parses what follows the percent sign: position, plus sign and length in any order, each at most once.
std::optional<Conversion> parseConversion(const char*& cursor) {
  Conversion result;
  for (;;) {
    if (*cursor == '+' && !result.plus) {
      result.plus = true;
      ++cursor;
    } else if (*cursor == '.' && result.maxChars < 0) {
      ++cursor;
      const auto length = readNumber(cursor);
      if (!length) {
        return std::nullopt;
      }
      result.maxChars = static_cast<int>(*length);
    } else if (*cursor >= '0' && *cursor <= '9' && result.position == 0) {
      const auto position = readNumber(cursor);
      if (!position || *position == 0 || *cursor != '$') {
        return std::nullopt;
      }
      ++cursor;
      result.position = *position;
    } else {
      break;
    }
  }
  result.letter = *cursor;
  if (*cursor) {
    ++cursor;
  }
  return result;
}

std::string firstChars(const char* text, int maxChars) {
  const char* end = text;
  for (int left = maxChars; *end && left > 0; --left) {
    const auto lead = static_cast<unsigned char>(*end++);
    if (lead >= 0x80) {
      static_cast<void>(plat::utf8Decode(lead, end, 4));
    }
  }
  return std::string(text, end);
}

std::string printNumber(const char* format, auto value) {
  char digits[24];
  std::snprintf(digits, sizeof digits, format, value);
  return digits;
}

/// The output of one conversion, or nothing if it does not fit its argument.
std::optional<std::string> render(const Conversion& conversion, std::initializer_list<FormatArg> args) {
  if (conversion.position == 0 ? args.size() != 1 : conversion.position > args.size()) {
    return std::nullopt;
  }
  const FormatArg& arg = args.begin()[conversion.position == 0 ? 0 : conversion.position - 1];
  const bool plain = !conversion.plus && conversion.maxChars < 0;
  if (conversion.letter == 'S' && arg.kind() == FormatArg::Kind::Text && !conversion.plus) {
    return conversion.maxChars < 0 ? std::string(arg.text()) : firstChars(arg.text(), conversion.maxChars);
  }
  if (conversion.letter == 'D' && arg.kind() == FormatArg::Kind::Int && conversion.maxChars < 0) {
    return conversion.plus ? printNumber("%+d", arg.intValue()) : printNumber("%d", arg.intValue());
  }
  if (conversion.letter == 'D' && arg.kind() == FormatArg::Kind::Unsigned && plain) {
    return printNumber("%" PRIu64, arg.unsignedValue());
  }
  if (conversion.letter == 'X' && arg.kind() == FormatArg::Kind::Unsigned && plain) {
    return printNumber("%" PRIx64, arg.unsignedValue());
  }
  return std::nullopt;
}

std::string filled(const char* text, std::initializer_list<FormatArg> args) {
  std::string output;
  bool bad = false;
  for (const char* cursor = text; *cursor;) {
    if (*cursor != '%') {
      output += *cursor++;
      continue;
    }
    const char* behind = ++cursor;
    if (*behind == '%') {
      output += '%';
      ++cursor;
      continue;
    }
    const auto conversion = parseConversion(behind);
    const auto rendered = conversion ? render(*conversion, args) : std::nullopt;
    if (rendered) {
      output += *rendered;
      cursor = behind;
    } else {
      // The cursor stays behind the percent sign: what follows shows as it stands.
      output += "%%";
      bad = true;
    }
  }
  if (bad) {
    reportBadString(plat::String::format("Bad loc string for args - %s", text).get());
  }
  return output;
}

}  // namespace

plat::String format(const char* text, std::initializer_list<FormatArg> args) {
  return plat::String(filled(text, args));
}

void format(plat::DString& output, const char* text, std::initializer_list<FormatArg> args) {
  output.append(filled(text, args).c_str());
}

}  // namespace loc
