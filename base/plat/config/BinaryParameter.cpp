#include "base/plat/config/BinaryParameter.h"

#include <utility>

#include "base/plat/hex.h"

namespace plat {

namespace {

constexpr bool AlwaysAdvanced = true;

}  // namespace

BinaryParameter::BinaryParameter(const char* name, const char* desc, const MBuf<unsigned char>& defaultValue, bool,
                                 Configuration* configuration, const char* tags)
    : TypedParameter(name, desc, nullptr, defaultValue, AlwaysAdvanced, configuration, tags) {}

BinaryParameter::BinaryParameter(const char* name, LocDesc desc, const MBuf<unsigned char>& defaultValue, bool,
                                 Configuration* configuration, const char* tags)
    : TypedParameter(name, nullptr, desc.key, defaultValue, AlwaysAdvanced, configuration, tags) {}

bool BinaryParameter::setParam(const char* value, int priority) {
  MBuf<unsigned char> bytes;
  return tryHexToBuf(value, bytes) && setValue(std::move(bytes), priority);
}

String BinaryParameter::getValueStrAt(int priority) const {
  return hasPriority(priority) ? "<binary>" : nullptr;
}

const char* BinaryParameter::getTypeName() const {
  return "binary";
}

std::unique_ptr<ConfigParameter> BinaryParameter::clone(Configuration& target) const {
  return std::unique_ptr<ConfigParameter>(new BinaryParameter(*this, target));
}

void BinaryParameter::getValueBuf(MBuf<unsigned char>& out) const {
  out = current();
}

bool BinaryParameter::setValueBuf(const MBuf<unsigned char>& value, int priority) {
  return setValue(value, priority);
}

}  // namespace plat
