#include "base/plat/config/S64Parameter.h"

#include <cinttypes>
#include <cstring>
#include <utility>

#include "base/plat/MBuf.h"
#include "base/plat/hex.h"
#include "base/plat/strings.h"

namespace plat {

namespace {

constexpr const char* Prefix = "int64:";
constexpr std::size_t PrefixLength = 6;
constexpr std::size_t TextLength = PrefixLength + 16;

/// Whether `text` is in the stored form; `value` then receives what it means.
bool readStored(const char* text, std::uint64_t& value) {
  std::uint8_t bytes[8];
  if (!strStartsWith(text, Prefix) || std::strlen(text) != TextLength || !hexToBin(text + PrefixLength, 8, bytes)) {
    return false;
  }
  value = 0;
  for (const std::uint8_t byte : bytes) {
    value = value << 8 | byte;
  }
  return true;
}

String storedForm(std::uint64_t value) {
  return String::format("%s%016" PRIx64, Prefix, value);
}

/// The stored form of a text in either form; null if it is in neither.
String normalised(const char* text) {
  std::uint64_t value;
  if (text == nullptr || readStored(text, value)) {
    return text;
  }
  MBuf<unsigned char> bytes;
  if (!tryHexToBuf(text, bytes) || bytes.size() != 8) {
    return nullptr;
  }
  // As the bytes lie in memory: the form in which older stores hold it.
  std::memcpy(&value, bytes.data(), sizeof value);
  return storedForm(value);
}

String normalisedOrKept(const String& text) {
  String stored = normalised(text.get());
  return stored.isNull() ? text : stored;
}

}  // namespace

S64Parameter::S64Parameter(const char* name, const char* desc, const char* defaultValue, bool advanced,
                           Configuration* configuration, const char* tags)
    : TypedParameter(name, desc, nullptr, normalisedOrKept(checkedDefault(name, defaultValue)), advanced, configuration,
                     tags) {}

S64Parameter::S64Parameter(const char* name, LocDesc desc, const char* defaultValue, bool advanced,
                           Configuration* configuration, const char* tags)
    : TypedParameter(name, nullptr, desc.key, normalisedOrKept(checkedDefault(name, defaultValue)), advanced,
                     configuration, tags) {}

bool S64Parameter::setParam(const char* value, int priority) {
  String stored = normalised(value);
  return !stored.isNull() && setValue(std::move(stored), priority);
}

const char* S64Parameter::getTypeName() const {
  return "s64";
}

std::unique_ptr<ConfigParameter> S64Parameter::clone(Configuration& target) const {
  return std::unique_ptr<ConfigParameter>(new S64Parameter(*this, target));
}

std::int64_t S64Parameter::getValueS64() const {
  std::uint64_t value = 0;
  return readStored(current().orEmpty(), value) ? static_cast<std::int64_t>(value) : 0;
}

bool S64Parameter::setValueS64(std::int64_t value, int priority) {
  return setValue(storedForm(static_cast<std::uint64_t>(value)), priority);
}

}  // namespace plat
