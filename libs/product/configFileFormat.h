#pragma once

#include <cstdint>

#include "base/plat/config/ParameterAlias.h"

namespace plat {
class DString;
}  // namespace plat

namespace rdr {
class InStream;
class OutStream;
}  // namespace rdr

namespace qzutil {

/// The text form of configuration files: lines of UTF-8, `name=value` or a name alone. A newline is written `\n`, a
/// carriage return `\r`, a backslash `\\`; a backslash before anything else stands for itself.
///
/// Whitespace at both ends of a line does not count, up to the last character that has a backslash before it. So a
/// value may begin with a blank, and may end in a newline, but loses blanks at its end when it is read again. Names are
/// written without escapes. There are no comments as such: what names no parameter is skipped by whoever applies it.

/// Bytes of one line in a file, without its end.
inline constexpr std::uint32_t MaxConfigLine = 262144;

/// One line, taken apart. The texts lie in the line's buffer.
struct ConfigEntry {
  const char* name;   ///< never null; empty for an empty line
  const char* value;  ///< null without "="
};

/// Reads the next line into `line` and takes it apart. @return false at the end, with `entry` untouched.
/// @throws rdr::StringTooLongException for a line above MaxConfigLine; what the stream raises
bool readConfigLine(rdr::InStream& in, plat::DString& line, ConfigEntry& entry);

/// Writes one line. @throws plat::Exception "The value of %s is too long" if it could not be read again
void writeConfigLine(rdr::OutStream& out, const char* name, const char* value);

/// Reads all lines; of several for one name the last one counts.
plat::ParameterMap readConfigLines(rdr::InStream& in);

}  // namespace qzutil
