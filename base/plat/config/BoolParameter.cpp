#include "base/plat/config/BoolParameter.h"

#include <algorithm>

#include "base/plat/log/LogSrc.h"
#include "base/plat/strings.h"

namespace plat {

namespace {

template <std::size_t N>
bool isOneOf(const char* text, const char* const (&words)[N]) {
  return std::any_of(std::begin(words), std::end(words),
                     [text](const char* word) { return strCompareNoCase(text, word) == 0; });
}

}  // namespace

BoolParameter::BoolParameter(const char* name, const char* desc, bool defaultValue, bool advanced,
                             Configuration* configuration, const char* tags)
    : TypedParameter(name, desc, nullptr, defaultValue, advanced, configuration, tags) {}

BoolParameter::BoolParameter(const char* name, LocDesc desc, bool defaultValue, bool advanced,
                             Configuration* configuration, const char* tags)
    : TypedParameter(name, nullptr, desc.key, defaultValue, advanced, configuration, tags) {}

bool BoolParameter::setParam(const char* value, int priority) {
  static constexpr const char* True[] = {"", "1", "on", "true", "yes"};
  static constexpr const char* False[] = {"0", "off", "false", "no"};
  if (value == nullptr || isOneOf(value, True)) {
    return setValue(true, priority);
  }
  if (isOneOf(value, False)) {
    return setValue(false, priority);
  }
  parameterLog().error("Bool parameter %s: invalid value '%s'", name(), value);
  return false;
}

bool BoolParameter::setParamInt(int value, int priority) {
  return setValue(value != 0, priority);
}

int BoolParameter::getValueInt() const {
  return current() ? 1 : 0;
}

const char* BoolParameter::getTypeName() const {
  return "bool";
}

std::unique_ptr<ConfigParameter> BoolParameter::clone(Configuration& target) const {
  return std::unique_ptr<ConfigParameter>(new BoolParameter(*this, target));
}

}  // namespace plat
