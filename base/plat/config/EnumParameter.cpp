#include "base/plat/config/EnumParameter.h"

#include "base/plat/strings.h"

namespace plat {

namespace {

int countOf(const char* const* names) {
  int count = 0;
  while (names[count] != nullptr) {
    ++count;
  }
  return count;
}

/// The index of the first name that matches, -1 if none does.
int indexOf(const char* name, const char* const* names) {
  for (int i = 0; name != nullptr && names[i] != nullptr; ++i) {
    if (strCompareNoCase(names[i], name) == 0) {
      return i;
    }
  }
  return -1;
}

int defaultIndex(const char* name, const char* const* names) {
  const int index = indexOf(name, names);
  return index < 0 ? 0 : index;
}

}  // namespace

EnumParameter::EnumParameter(const char* name, const char* desc, const char* defaultName, bool advanced,
                             Configuration* configuration, const char* const* names, const char* tags)
    : IntParameter(name, desc, defaultIndex(defaultName, names), advanced, configuration, 0, countOf(names) - 1, tags),
      names_(names) {}

EnumParameter::EnumParameter(const char* name, LocDesc desc, const char* defaultName, bool advanced,
                             Configuration* configuration, const char* const* names, const char* tags)
    : IntParameter(name, desc, defaultIndex(defaultName, names), advanced, configuration, 0, countOf(names) - 1, tags),
      names_(names) {}

bool EnumParameter::setParam(const char* value, int priority) {
  const int index = indexOf(value, names_);
  return index >= 0 && setParamInt(index, priority);
}

const char* EnumParameter::getTypeName() const {
  return "enum";
}

std::unique_ptr<ConfigParameter> EnumParameter::clone(Configuration& target) const {
  return std::unique_ptr<ConfigParameter>(new EnumParameter(*this, target));
}

String EnumParameter::intToStr(int value) const {
  return value >= minValue() && value <= maxValue() ? String(names_[value]) : IntParameter::intToStr(value);
}

}  // namespace plat
