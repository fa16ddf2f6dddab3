// Configuration files out of arbitrary bytes: what was read must be valid UTF-8, and be the same once it is written and
// read again, but for what the form is known not to carry.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/plat/utf8.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "libs/product/configFileFormat.h"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Blanks at the end of a value are lost where no character after them is escaped.
std::string withoutBlanksAtTheEnd(const plat::String& value) {
  std::string text = value.orEmpty();
  text.erase(text.find_last_not_of(" \t\v\f") + 1);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > qzutil::MaxConfigLine / 4) {  // repaired and escaped, a line must still fit
    return 0;
  }
  rdr::MemInStream in(data, static_cast<int>(size));
  plat::ParameterMap first = qzutil::readConfigLines(in);
  rdr::MemOutStream out;
  for (auto entry = first.begin(); entry != first.end();) {
    const auto& [name, value] = *entry;
    require(plat::isValidUtf8(name.c_str()) && plat::isValidUtf8(value.orEmpty()));
    require(name.find('=') == std::string::npos);
    if (name.find_first_of("\n\r\\") != std::string::npos) {  // names are written without escapes
      entry = first.erase(entry);
      continue;
    }
    qzutil::writeConfigLine(out, name.c_str(), value.get());
    ++entry;
  }
  rdr::MemInStream again(out.data(), static_cast<int>(out.length()));
  const plat::ParameterMap second = qzutil::readConfigLines(again);
  require(second.size() == first.size());
  for (const auto& [name, value] : first) {
    const auto found = second.find(name);
    require(found != second.end() && found->first == name);
    require(found->second.isNull() == value.isNull());
    require(found->second.orEmpty() == withoutBlanksAtTheEnd(value));
  }
  return 0;
}
