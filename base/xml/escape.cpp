#include "base/xml/escape.h"

#include <cstring>

#include "base/plat/utf8.h"

namespace xml {

namespace {

// U+FDD1 to U+FDEF, the places of the control characters 0x01 to 0x1F, are EF B7 91 to EF B7 AF.
constexpr char ControlLead[] = "\xEF\xB7";
constexpr unsigned char ControlBase = 0x90;

/// How an ASCII character is written, null for as it is.
const char* reference(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    case '\r':
      return "&#13;";
    case 0x7F:
      return "&#127;";
    default:
      return nullptr;
  }
}

}  // namespace

plat::String escapeAttribute(const char* text) {
  if (text == nullptr) {
    return nullptr;
  }
  std::string out;
  for (const char* c = text; *c != '\0';) {
    const unsigned char lead = static_cast<unsigned char>(*c);
    const char* next = c + 1;
    if (const char* const written = reference(*c)) {
      out += written;
    } else if (lead < 0x20) {
      out += ControlLead;
      out += static_cast<char>(ControlBase + lead);
    } else if (plat::utf8Decode(lead, next, -1) < 0) {
      out += "\xEF\xBF\xBD";
    } else {
      out.append(c, next);
    }
    c = next;
  }
  return plat::String(out);
}

void appendUnescaped(std::string& out, const char* value) {
  const char* rest = value;
  while (const char* const found = std::strstr(rest, ControlLead)) {
    const unsigned char last = static_cast<unsigned char>(found[2]);
    if (last > ControlBase && last < ControlBase + 0x20) {
      out.append(rest, found);
      out += static_cast<char>(last - ControlBase);
    } else {
      out.append(rest, found + 3);  // another character with the same lead: three bytes, as a parser hands out UTF-8
    }
    rest = found + 3;
  }
  out += rest;
}

}  // namespace xml
