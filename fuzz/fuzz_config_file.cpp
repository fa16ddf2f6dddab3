// Configuration files out of arbitrary bytes: what was read must be valid UTF-8, and be the same once it is written and
// read again, but for what the form is known not to carry.

#include "fuzz/target.h"
#include "libs/product/configFileFormat.h"

namespace {

plat::ParameterMap read(std::string_view bytes) {
  rdr::MemInStream in = fuzz::streamOver(bytes);
  return qzutil::readConfigLines(in);
}

/// Blanks at the end of a value are lost where no character after them is escaped.
std::string withoutBlanksAtTheEnd(const plat::String& value) {
  std::string text = value.orEmpty();
  text.erase(text.find_last_not_of(" \t\v\f") + 1);
  return text;
}

}  // namespace

void fuzz::run(std::string_view input) {
  if (input.size() > qzutil::MaxConfigLine / 4) {  // repaired and escaped, a line must still fit
    return;
  }
  plat::ParameterMap first = read(input);
  // Names are written without escapes.
  std::erase_if(first, [](const auto& entry) {
    const std::string& name = entry.first;
    require(plat::isValidUtf8(name.c_str()) && plat::isValidUtf8(entry.second.orEmpty()));
    require(name.find('=') == std::string::npos);
    return name.find_first_of("\n\r\\") != std::string::npos;
  });
  rdr::MemOutStream out;
  for (const auto& [name, value] : first) {
    qzutil::writeConfigLine(out, name.c_str(), value.get());
  }
  const plat::ParameterMap second = read(test::contents(out));
  require(second.size() == first.size());
  for (const auto& [name, value] : first) {
    const auto found = second.find(name);
    require(found != second.end() && found->first == name);
    require(found->second.isNull() == value.isNull());
    require(found->second.orEmpty() == withoutBlanksAtTheEnd(value));
  }
}
