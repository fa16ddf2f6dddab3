#include "libs/product/configFileFormat.h"

#include <cstring>
#include <string>

#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/rdr/InStream.h"
#include "base/rdr/OutStream.h"
#include "base/rdr/exceptions.h"

namespace qzutil {

namespace {

// Spelled out, since isspace(3) goes by the locale, and a file must read alike in all of them.
constexpr char Whitespace[] = " \t\n\v\f\r";

bool isWhitespace(char c) noexcept {
  return std::strchr(Whitespace, c) != nullptr;
}

/// Appends to `out` what a backslash and the character behind it stand for.
char* decodeEscape(char escaped, char* out) noexcept {
  switch (escaped) {
    case 'n':
      *out++ = '\n';
      break;
    case 'r':
      *out++ = '\r';
      break;
    case '\\':
      *out++ = '\\';
      break;
    default:
      *out++ = '\\';
      *out++ = escaped;
  }
  return out;
}

/// Trims and decodes a line in place.
void decodeLine(char* line) noexcept {
  // In place: what an escape stands for is never longer than the escape.
  const char* in = line + std::strspn(line, Whitespace);
  char* out = line;
  char* end = line;  // behind the last character that trimming leaves
  while (*in != '\0') {
    if (in[0] == '\\' && in[1] != '\0') {
      out = decodeEscape(in[1], out);
      in += 2;
      end = out;
      continue;
    }
    *out++ = *in;
    if (!isWhitespace(*in++)) {
      end = out;
    }
  }
  *end = '\0';
}

/// What a line cannot hold: a newline would end it, a carriage return is dropped by the reader, and a backslash has to
/// be told from these.
void appendEncoded(std::string& line, const char* value) {
  for (; *value != '\0'; ++value) {
    switch (*value) {
      case '\n':
        line += "\\n";
        break;
      case '\r':
        line += "\\r";
        break;
      case '\\':
        line += "\\\\";
        break;
      default:
        line += *value;
    }
  }
}

}  // namespace

bool readConfigLine(rdr::InStream& in, plat::DString& line, ConfigEntry& entry) {
  try {
    in.readLine(line, MaxConfigLine, nullptr, true);
  } catch (const rdr::EndOfStream&) {
    return false;
  }
  decodeLine(line.data());
  entry = {line.data(), nullptr};
  if (char* const equals = std::strchr(line.data(), '=')) {
    *equals = '\0';
    entry.value = equals + 1;
  }
  return true;
}

void writeConfigLine(rdr::OutStream& out, const char* name, const char* value) {
  std::string line(name);
  if (value != nullptr) {
    line += '=';
    appendEncoded(line, value);
  }
  // One line that is too long would make the whole file unreadable at the next start.
  if (line.size() > MaxConfigLine) {
    throw plat::Exception(plat::Formatted, "The value of %s is too long", name);
  }
  line += '\n';
  out.writeBytes(line.data(), static_cast<int>(line.size()));
}

plat::ParameterMap readConfigLines(rdr::InStream& in) {
  plat::ParameterMap values;
  plat::DString line;
  for (ConfigEntry entry{}; readConfigLine(in, line, entry);) {
    values.insert_or_assign(entry.name, plat::String(entry.value));
  }
  return values;
}

}  // namespace qzutil
