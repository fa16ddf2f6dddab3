#include "base/plat/config/IntParameter.h"

#include <cstdint>

#include "base/plat/numbers.h"

namespace plat {

IntParameter::IntParameter(const char* name, const char* desc, int defaultValue, bool advanced,
                           Configuration* configuration, int minValue, int maxValue, const char* tags)
    : TypedParameter(name, desc, nullptr, defaultValue, advanced, configuration, tags),
      minValue_(minValue),
      maxValue_(maxValue) {}

IntParameter::IntParameter(const char* name, LocDesc desc, int defaultValue, bool advanced,
                           Configuration* configuration, int minValue, int maxValue, const char* tags)
    : TypedParameter(name, nullptr, desc.key, defaultValue, advanced, configuration, tags),
      minValue_(minValue),
      maxValue_(maxValue) {}

bool IntParameter::setParam(const char* value, int priority) {
  std::int32_t number = 0;
  if (value == nullptr || !tryParseS32(value, 0, number) || *value != '\0') {
    return false;
  }
  return setParamInt(number, priority);
}

bool IntParameter::setParamInt(int value, int priority) {
  return value >= minValue_ && value <= maxValue_ && setValue(value, priority);
}

int IntParameter::getValueInt() const {
  return current();
}

const char* IntParameter::getTypeName() const {
  return "int";
}

std::unique_ptr<ConfigParameter> IntParameter::clone(Configuration& target) const {
  return std::unique_ptr<ConfigParameter>(new IntParameter(*this, target));
}

}  // namespace plat
