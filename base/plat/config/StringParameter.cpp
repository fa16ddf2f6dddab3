#include "base/plat/config/StringParameter.h"

#include "base/plat/exceptions.h"
#include "base/plat/utf8.h"

namespace plat {

StringParameter::StringParameter(const char* name, const char* desc, const char* defaultValue, bool advanced,
                                 Configuration* configuration, const char* tags)
    : TypedParameter(name, desc, nullptr, checkedDefault(name, defaultValue), advanced, configuration, tags) {}

StringParameter::StringParameter(const char* name, LocDesc desc, const char* defaultValue, bool advanced,
                                 Configuration* configuration, const char* tags)
    : TypedParameter(name, nullptr, desc.key, checkedDefault(name, defaultValue), advanced, configuration, tags) {}

bool StringParameter::setParam(const char* value, int priority) {
  if (value == nullptr) {
    return false;
  }
  if (!isValidUtf8(value)) {
    throw BadUtf8(Formatted, "Bad UTF-8 string for %s", name());
  }
  return setValue(value, priority);
}

const char* StringParameter::getTypeName() const {
  return "string";
}

std::unique_ptr<ConfigParameter> StringParameter::clone(Configuration& target) const {
  return std::unique_ptr<ConfigParameter>(new StringParameter(*this, target));
}

}  // namespace plat
