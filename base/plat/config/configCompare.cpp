// Comparing and copying whole configurations.
#include "base/plat/DString.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"

namespace plat {

namespace {

/// Calls `found` for each parameter of `base` whose text differs from that of its namesake in `other`.
template <class Found>
void forEachDifference(const Configuration& base, const Configuration& other, Found found) {
  for (Configuration::Iterator parameters(base, true); const ConfigParameter* parameter = parameters.next();) {
    const ConfigParameter* const namesake = other.find(parameter->name(), true);
    if (namesake != nullptr && namesake->getValueStr() != parameter->getValueStr()) {
      found(*parameter);
    }
  }
}

}  // namespace

void Configuration::copyFrom(const Configuration& other, bool cloneMissing, bool recurse) {
  if (&other == this) {
    return;
  }
  for (Iterator parameters(other, recurse); const ConfigParameter* theirs = parameters.next();) {
    if (ConfigParameter* const own = find(theirs->name(), recurse)) {
      own->assignFrom(*theirs);
    } else if (cloneMissing) {
      owned_.push_back(theirs->clone(*this));
    }
  }
}

void Configuration::applyDifferences(const Configuration& base, const Configuration& other) {
  forEachDifference(base, other, [this](const ConfigParameter& parameter) {
    set(parameter.name(), parameter.getValueStr().get(), parameter.getPriority());
  });
}

String Configuration::listDifferences(const Configuration& base, const Configuration& other) {
  DString names("");
  forEachDifference(base, other, [&names](const ConfigParameter& parameter) {
    names.append(names.empty() ? "" : ",").append(parameter.name());
  });
  return names.takeString();
}

bool Configuration::sameAs(const Configuration& base, const Configuration& other) {
  for (Iterator parameters(base, true); const ConfigParameter* parameter = parameters.next();) {
    const ConfigParameter* const namesake = other.find(parameter->name(), true);
    if (namesake == nullptr || namesake->getValueStr() != parameter->getValueStr()) {
      return false;
    }
  }
  return true;
}

void Configuration::collectAtPriority(int priority, ParameterMap& map) const {
  for (Iterator parameters(*this, true); const ConfigParameter* parameter = parameters.next();) {
    if (parameter->hasPriority(priority)) {
      map.insert_or_assign(parameter->name(), parameter->getAllValues().at(priority));
    }
  }
}

}  // namespace plat
