#include "base/plat/config/Configuration.h"

#include <algorithm>
#include <utility>

#include "base/plat/Exception.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/assert.h"
#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/EnumParameter.h"
#include "base/plat/config/IntParameter.h"
#include "base/plat/config/S64Parameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/log/LogSrc.h"

// The registry itself. Its further operations lie where they need more: comparing and copying in configCompare.cpp,
// stored names in configRename.cpp, and above the texts, in base/plat/usage, command lines (configArgs.cpp) and help
// (configHelp.cpp).

namespace plat {

namespace {

LogSrc& configurationLog() {
  static NeverDestroyed<LogSrc> log("Configuration");
  return *log;
}

[[maybe_unused]] const LogSrc& registered = configurationLog();

/// What the log of values calls the value in force.
String priorityLabel(const ConfigParameter& parameter) {
  const int priority = parameter.getPriority();
  if (priority >= PriorityPolicy) {
    return parameter.hasPriority(PriorityPreference) ? "Policy overriding preference" : "Policy";
  }
  switch (priority) {
    case PriorityPreference:
      return "Preference";
    case PriorityDefault:
      return "Default";
    default:
      return String::format("Priority %d", priority);
  }
}

}  // namespace

Configuration::Iterator::Iterator(const Configuration& configuration, bool recurse)
    : recurse_(recurse), parameter_(configuration.params_) {
  push(configuration);
}

void Configuration::Iterator::push(const Configuration& configuration) {
  if (recurse_) {
    pending_.insert(pending_.end(), configuration.children_.rbegin(), configuration.children_.rend());
  }
}

ConfigParameter* Configuration::Iterator::next() {
  while (parameter_ == nullptr && !pending_.empty()) {
    const Configuration& child = *pending_.back();
    pending_.pop_back();
    push(child);
    parameter_ = child.params_;
  }
  ConfigParameter* const found = parameter_;
  if (found != nullptr) {
    parameter_ = found->next();
  }
  return found;
}

Configuration& Configuration::global() {
  // Made at the first use, since static parameters of any file register here before main.
  static NeverDestroyed<Configuration> configuration("Global", "plat_configuration_global_params");
  return *configuration;
}

Configuration::Configuration(const char* name, const char* locDesc) : name_(name), locDesc_(locDesc) {}

Configuration::Configuration(const Configuration& other)
    : name_(other.name_), locDesc_(other.locDesc_), aliases_(other.aliases_), logChanges_(other.logChanges_) {
  copyFrom(other, true, true);
}

Configuration::~Configuration() {
  // What belongs to somebody else lives on, registered nowhere.
  deleteOwned();
  for (ConfigParameter* parameter = params_; parameter != nullptr; parameter = parameter->next_) {
    parameter->configuration_ = nullptr;
  }
}

void Configuration::add(ConfigParameter& parameter) noexcept {
  // At the front: of two with one name the later one is found.
  parameter.next_ = params_;
  params_ = &parameter;
}

void Configuration::remove(ConfigParameter& parameter) noexcept {
  for (ConfigParameter** link = &params_; *link != nullptr; link = &(*link)->next_) {
    if (*link == &parameter) {
      *link = parameter.next_;
      return;
    }
  }
}

ConfigParameter* Configuration::find(const char* name, bool recurse) const {
  Iterator parameters(*this, recurse);
  ConfigParameter* parameter = parameters.next();
  while (parameter != nullptr && strCompareNoCase(parameter->name(), name) != 0) {
    parameter = parameters.next();
  }
  return parameter;
}

ConfigParameter& Configuration::getParam(const char* name) const {
  ConfigParameter* const parameter = find(name, true);
  if (parameter == nullptr) {
    throw Exception(Formatted, "Parameter %s not found", name);
  }
  return *parameter;
}

template <class P>
P& Configuration::getTyped(const char* name) const {
  P* const parameter = dynamic_cast<P*>(&getParam(name));
  PLAT_REQUIRE_AS(parameter != nullptr, "parameter", "base/plat/Configuration", __LINE__);
  return *parameter;
}

BoolParameter& Configuration::getBoolParam(const char* name) const {
  return getTyped<BoolParameter>(name);
}
IntParameter& Configuration::getIntParam(const char* name) const {
  return getTyped<IntParameter>(name);
}
StringParameter& Configuration::getStringParam(const char* name) const {
  return getTyped<StringParameter>(name);
}
EnumParameter& Configuration::getEnumParam(const char* name) const {
  return getTyped<EnumParameter>(name);
}
BinaryParameter& Configuration::getBinaryParam(const char* name) const {
  return getTyped<BinaryParameter>(name);
}
S64Parameter& Configuration::getS64Param(const char* name) const {
  return getTyped<S64Parameter>(name);
}

bool Configuration::getBool(const char* name, bool fallback) const {
  try {
    return getBoolParam(name).getValue();
  } catch (const Exception&) {
    return fallback;
  }
}

bool Configuration::set(const char* name, const char* value, int priority) {
  if (name == nullptr) {
    return false;
  }
  const auto alias = aliases_.find(name);
  if (alias != aliases_.end()) {
    return setAlias(*alias->second, name, value, priority);
  }
  if (ConfigParameter* const parameter = find(name, false)) {
    return parameter->setParam(value, priority);
  }
  return std::any_of(children_.begin(), children_.end(),
                     [&](Configuration* child) { return child->set(name, value, priority); });
}

bool Configuration::setAlias(ParameterAlias& alias, const char* name, const char* value, int priority) {
  ParameterMap targets;
  if (!alias.expand(name, value, targets)) {
    return false;
  }
  bool any = false;
  for (const auto& [target, targetValue] : targets) {
    // Every target, also behind one that took its value. By set(), so that an alias may lead to another; one that led
    // to itself would never end.
    any = set(target.c_str(), targetValue.get(), priority) || any;
  }
  return any;
}

void Configuration::setChild(Configuration& child, bool addIt) {
  children_.remove(&child);
  if (addIt) {
    children_.push_back(&child);
  }
}

ConfigParameter& Configuration::own(std::unique_ptr<ConfigParameter> parameter) {
  owned_.push_back(std::move(parameter));
  return *owned_.back();
}

void Configuration::deleteOwned() {
  // One by one, for a vector that is cleared does not say in which order.
  for (auto& parameter : owned_) {
    parameter.reset();
  }
  owned_.clear();
}

template <class P, class... Args>
P& Configuration::addOwned(const Args&... args) {
  return static_cast<P&>(own(std::make_unique<P>(args...)));
}

BoolParameter& Configuration::addBool(const char* name, const char* locDesc, bool defaultValue, bool advanced,
                                      const char* tags) {
  return addOwned<BoolParameter>(name, LocDesc(locDesc), defaultValue, advanced, this, tags);
}

IntParameter& Configuration::addInt(const char* name, const char* locDesc, int defaultValue, int minValue, int maxValue,
                                    bool advanced, const char* tags) {
  return addOwned<IntParameter>(name, LocDesc(locDesc), defaultValue, advanced, this, minValue, maxValue, tags);
}

StringParameter& Configuration::addString(const char* name, const char* locDesc, const char* defaultValue,
                                          bool advanced, const char* tags) {
  return addOwned<StringParameter>(name, LocDesc(locDesc), defaultValue, advanced, this, tags);
}

EnumParameter& Configuration::addEnum(const char* name, const char* locDesc, const char* defaultName,
                                      const char* const* names, bool advanced, const char* tags) {
  return addOwned<EnumParameter>(name, LocDesc(locDesc), defaultName, advanced, this, names, tags);
}

BinaryParameter& Configuration::addBinary(const char* name, const char* locDesc,
                                          const MBuf<unsigned char>& defaultValue, bool advanced, const char* tags) {
  return addOwned<BinaryParameter>(name, LocDesc(locDesc), defaultValue, advanced, this, tags);
}

S64Parameter& Configuration::addS64(const char* name, const char* locDesc, const char* defaultValue, bool advanced,
                                    const char* tags) {
  return addOwned<S64Parameter>(name, LocDesc(locDesc), defaultValue, advanced, this, tags);
}

void Configuration::addAlias(const char* name, ParameterAlias& alias) {
  aliases_.insert_or_assign(name, &alias);
}

void Configuration::addAliases(const Configuration& other) {
  aliases_.insert(other.aliases_.begin(), other.aliases_.end());
}

void Configuration::logValues() const {
  std::vector<const ConfigParameter*> sorted;
  for (Iterator parameters(*this, true); const ConfigParameter* parameter = parameters.next();) {
    if (!parameter->isHidden()) {
      sorted.push_back(parameter);
    }
  }
  std::stable_sort(sorted.begin(), sorted.end(), [](const ConfigParameter* a, const ConfigParameter* b) {
    const int priorityA = a->getPriority();
    const int priorityB = b->getPriority();
    return priorityA != priorityB ? priorityA > priorityB : strCompareNoCase(a->name(), b->name()) < 0;
  });
  LogSrc& log = configurationLog();
  for (const ConfigParameter* const parameter : sorted) {
    const int priority = parameter->getPriority();
    const int level = priority > PriorityDefault ? LogInfo : LogDebug;
    if (log.enabled(level)) {
      log.log(level, "%s=%s (%s)", parameter->name(), parameter->getValueStrAt(priority).orEmpty(),
              priorityLabel(*parameter).get());
    }
  }
}

}  // namespace plat
