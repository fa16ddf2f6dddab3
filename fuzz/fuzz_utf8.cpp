// Decoding, checking, repairing and escaping have to agree on what is well-formed.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "base/plat/assert.h"
#include "base/plat/strings.h"
#include "base/plat/utf8.h"

namespace {

/// How many characters and malformed bytes [text, end) is made of; every character must encode to its own bytes.
struct Count {
  int characters = 0;
  int malformed = 0;
};

Count decodeAll(const char* text, const char* end) {
  Count count;
  while (text < end) {
    const char* next = text + 1;
    const int codePoint = plat::utf8Decode(static_cast<unsigned char>(*text), next, static_cast<int>(end - next));
    if (codePoint < 0) {
      PLAT_ASSERT(next == text + 1);
      ++count.malformed;
    } else {
      char encoded[4];
      char* encodedEnd = encoded;
      plat::utf8Encode(static_cast<unsigned>(codePoint), encodedEnd);
      PLAT_ASSERT(std::string(encoded, encodedEnd) == std::string(text, next));
      ++count.characters;
    }
    text = next;
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Up to the first zero byte, so that the forms with and without an end see the same text.
  const std::string text(reinterpret_cast<const char*>(data), strnlen(reinterpret_cast<const char*>(data), size));
  const char* const end = text.c_str() + text.size();
  const Count count = decodeAll(text.c_str(), end);
  PLAT_ASSERT(plat::isValidUtf8(text.c_str()) == (count.malformed == 0));
  PLAT_ASSERT(plat::isValidUtf8(text.c_str(), end) == (count.malformed == 0));

  const plat::String repaired = plat::utf8Repair(text.c_str());
  PLAT_ASSERT(plat::isValidUtf8(repaired.get()));
  PLAT_ASSERT((repaired == text.c_str()) == (count.malformed == 0));
  const Count after = decodeAll(repaired.get(), repaired.get() + repaired.length());
  PLAT_ASSERT(after.characters == count.characters + count.malformed);

  const plat::String escaped = plat::utf8Escape(text.c_str(), '~');
  PLAT_ASSERT(plat::isValidUtf8(escaped.get()));
  PLAT_ASSERT(escaped.length() <= 4 * text.size());

  char buffer[17];
  PLAT_ASSERT(plat::strCopy(buffer, sizeof buffer, repaired.get()) == repaired.length());
  PLAT_ASSERT(plat::isValidUtf8(buffer));
  PLAT_ASSERT(plat::strStartsWith(repaired.get(), buffer));
  return 0;
}
