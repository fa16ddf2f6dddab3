// Lines out of arbitrary bytes: against a plain model, and repaired lines must be valid UTF-8.

#include "base/plat/DString.h"
#include "fuzz/target.h"

namespace {

/// The line that starts at the front of `bytes`, which loses it; at most limit + 1 characters are taken.
std::string modelLine(std::string_view& bytes, std::size_t limit) {
  std::string line;
  while (!bytes.empty() && line.size() <= limit) {
    const char c = bytes.front();
    bytes.remove_prefix(1);
    if (c == '\n') {
      break;
    }
    if (c != '\r') {
      line += c;
    }
  }
  return line;
}

}  // namespace

void fuzz::run(std::string_view input) {
  if (input.empty()) {
    return;
  }
  const std::uint32_t limit = static_cast<std::uint8_t>(input[0]) % 100 + 1U;
  const bool fix = static_cast<std::uint8_t>(input[0]) >= 128;
  std::string_view rest = input.substr(1);
  rdr::MemInStream in = streamOver(rest);
  plat::DString line;
  while (true) {
    bool sawNul = false;
    bool sound = false;
    bool tooLong = false;
    try {
      sound = in.readLine(line, limit, &sawNul, fix);
    } catch (const rdr::EndOfStream&) {
      return require(modelLine(rest, limit).empty() && rest.empty());
    } catch (const rdr::StringTooLongException&) {
      tooLong = true;
    }
    const std::string expected = modelLine(rest, limit);
    require(tooLong == (expected.size() > limit));
    require(!tooLong || line.empty());
    require(tooLong || sawNul == (expected.find('\0') != std::string::npos));
    require(!fix || plat::isValidUtf8(line.get()));
    require(!sound || std::string_view(line.get(), expected.size()) == expected);
  }
}
