#include "libs/fops/local/naturalCompare.h"

#include <cstring>
#include <string>

#include "base/loc/LocaleSetter.h"
#include "base/plat/String.h"
#include "base/plat/utf8.h"

namespace fops {

namespace {

bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

int sign(int value) noexcept {
  return (value > 0) - (value < 0);
}

/// collate() of two stretches of text. The same bytes are equal in every locale, which spares the copies in most cases.
int collatePrefixes(const char* a, const char* aEnd, const char* b, const char* bEnd) {
  const std::size_t aLength = static_cast<std::size_t>(aEnd - a);
  const std::size_t bLength = static_cast<std::size_t>(bEnd - b);
  if (aLength == bLength && std::memcmp(a, b, aLength) == 0) {
    return 0;
  }
  return collate(std::string(a, aLength).c_str(), std::string(b, bLength).c_str());
}

}  // namespace

bool collatesUtf8() {
  const loc::LocaleSetter* setter = loc::LocaleSetter::current();
  return (setter ? setter->codeset() : loc::processOsLocale().codeset) == loc::Codeset::Utf8;
}

const char* findNumber(const char* text, const char*& digitsEnd) noexcept {
  while (*text && !isDigit(*text)) {
    ++text;
  }
  if (!*text) {
    return nullptr;
  }
  const char* end = text + 1;
  while (isDigit(*end)) {
    ++end;
  }
  digitsEnd = end;
  return text;
}

bool readNumber(const char* digits, const char* digitsEnd, std::uint32_t& value) noexcept {
  std::uint64_t sum = 0;
  for (; digits != digitsEnd; ++digits) {
    sum = sum * 10 + static_cast<std::uint64_t>(*digits - '0');
    if (sum > UINT32_MAX) {
      return false;
    }
  }
  value = static_cast<std::uint32_t>(sum);
  return true;
}

int collate(const char* x, const char* y) {
  if (!x || !y) {
    return (x != nullptr) - (y != nullptr);
  }
  if (collatesUtf8()) {
    return sign(std::strcoll(x, y));
  }
  // A locale of one byte per character would take each byte of a longer one for a character of its own.
  return sign(std::strcoll(plat::utf8ToLatin1(x).orEmpty(), plat::utf8ToLatin1(y).orEmpty()));
}

int naturalCompare(const char* a, const char* b) {
  if (!a || !b) {
    return collate(a, b);
  }
  // The texts move on only behind a pass that found them equal, so that one which ends early leaves prefix and number
  // to be compared as text.
  for (;;) {
    const char* aEnd = nullptr;
    const char* bEnd = nullptr;
    const char* aDigits = findNumber(a, aEnd);
    const char* bDigits = aDigits ? findNumber(b, bEnd) : nullptr;
    std::uint32_t aNumber = 0;
    std::uint32_t bNumber = 0;
    if (!bDigits || collatePrefixes(a, aDigits, b, bDigits) != 0 || !readNumber(aDigits, aEnd, aNumber) ||
        !readNumber(bDigits, bEnd, bNumber)) {
      return collate(a, b);
    }
    if (aNumber != bNumber) {
      return aNumber < bNumber ? -1 : 1;
    }
    a = aEnd;
    b = bEnd;
  }
}

}  // namespace fops
