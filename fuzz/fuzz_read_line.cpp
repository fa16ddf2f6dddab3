// Lines out of arbitrary bytes: against a plain model, and repaired lines must be valid UTF-8.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "base/plat/DString.h"
#include "base/plat/utf8.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/exceptions.h"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) {
    return 0;
  }
  const std::uint32_t limit = data[0] % 100 + 1U;
  const bool fix = data[0] >= 128;
  std::string_view rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  rdr::MemInStream in(rest.data(), static_cast<int>(rest.size()));
  plat::DString line;
  while (true) {
    bool sawNul = false;
    bool sound = false;
    bool tooLong = false;
    try {
      sound = in.readLine(line, limit, &sawNul, fix);
    } catch (const rdr::EndOfStream&) {
      require(modelLine(rest, limit).empty() && rest.empty());
      return 0;
    } catch (const rdr::StringTooLongException&) {
      tooLong = true;
    }
    const std::string expected = modelLine(rest, limit);
    require(tooLong == (expected.size() > limit));
    if (tooLong) {
      require(line.empty());
      continue;
    }
    require(sawNul == (expected.find('\0') != std::string::npos));
    require(!fix || plat::isValidUtf8(line.get()));
    require(!sound || std::string_view(line.get(), expected.size()) == expected);
  }
}
