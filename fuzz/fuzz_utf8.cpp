// Decoding, checking, repairing and escaping have to agree on what is well-formed.

#include "base/plat/strings.h"
#include "fuzz/target.h"

namespace {

using fuzz::require;

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
      require(next == text + 1);
      ++count.malformed;
    } else {
      char encoded[4];
      char* encodedEnd = encoded;
      plat::utf8Encode(static_cast<unsigned>(codePoint), encodedEnd);
      require(std::string(encoded, encodedEnd) == std::string(text, next));
      ++count.characters;
    }
    text = next;
  }
  return count;
}

}  // namespace

void fuzz::run(std::string_view input) {
  // Up to the first zero byte, so that the forms with and without an end see the same text.
  const std::string text(input.substr(0, input.find('\0')));
  const char* const end = text.c_str() + text.size();
  const Count count = decodeAll(text.c_str(), end);
  require(plat::isValidUtf8(text.c_str()) == (count.malformed == 0));
  require(plat::isValidUtf8(text.c_str(), end) == (count.malformed == 0));

  const plat::String repaired = plat::utf8Repair(text.c_str());
  require(plat::isValidUtf8(repaired.get()));
  require((repaired == text.c_str()) == (count.malformed == 0));
  const Count after = decodeAll(repaired.get(), repaired.get() + repaired.length());
  require(after.characters == count.characters + count.malformed);

  const plat::String escaped = plat::utf8Escape(text.c_str(), '~');
  require(plat::isValidUtf8(escaped.get()));
  require(escaped.length() <= 4 * text.size());

  char buffer[17];
  require(plat::strCopy(buffer, sizeof buffer, repaired.get()) == repaired.length());
  require(plat::isValidUtf8(buffer));
  require(plat::strStartsWith(repaired.get(), buffer));
}
