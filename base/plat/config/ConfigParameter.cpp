#include "base/plat/config/ConfigParameter.h"

#include <algorithm>
#include <cstdlib>

#include "base/plat/NeverDestroyed.h"
#include "base/plat/assert.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/ParameterChangedCallback.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/textTokens.h"

namespace plat {

namespace {

constexpr const char* SourceFile = "base/plat/ConfigParameter";

LogSrc& log() {
  static NeverDestroyed<LogSrc> source("ConfigParameter");  // never destroyed: parameters change at any time
  return *source;
}

[[maybe_unused]] const LogSrc& registered = log();

/// A copy for the object that sets ownsStrings_.
const char* ownCopy(const char* text) {
  return String(text).release();
}

void freeCopy(const char* text) {
  std::free(const_cast<char*>(text));
}

}  // namespace

ConfigParameter::ConfigParameter(const char* name, const char* desc, const char* locDesc, bool advanced,
                                 Configuration* configuration, const char* tags)
    : configuration_(configuration ? configuration : &Configuration::global()),
      name_(name),
      desc_(desc),
      locDesc_(locDesc),
      advanced_(advanced),
      ownsStrings_(false) {
  PLAT_REQUIRE_AS(desc || locDesc, "desc || locDesc", SourceFile, __LINE__);
  addTags(tags);
  configuration_->add(*this);
}

ConfigParameter::ConfigParameter(const ConfigParameter& other, Configuration& target)
    : NonCopyable(),
      configuration_(&target),
      name_(ownCopy(other.name_)),
      desc_(ownCopy(other.desc_)),
      locDesc_(ownCopy(other.locDesc_)),
      advanced_(other.advanced_),
      ownsStrings_(true),
      tags_(other.tags_) {
  configuration_->add(*this);
}

ConfigParameter::~ConfigParameter() {
  // Null if that went first.
  if (configuration_ != nullptr) {
    configuration_->remove(*this);
  }
  if (ownsStrings_) {
    freeCopy(name_);
    freeCopy(desc_);
    freeCopy(locDesc_);
  }
}

LogSrc& ConfigParameter::parameterLog() {
  return log();
}

/// Static, because derived classes call it in their initialiser lists, ahead of the object.
String ConfigParameter::checkedDefault(const char* name, const char* defaultValue) {
  if (defaultValue == nullptr) {
    throw AssertionFail("v", SourceFile, __LINE__, Formatted, "Default value <null> for %s not allowed", name);
  }
  return defaultValue;
}

bool ConfigParameter::setParamInt(int, int) {
  return false;
}

int ConfigParameter::getValueInt() const {
  return 0;
}

String ConfigParameter::intToStr(int value) const {
  return String::format("%d", value);
}

String ConfigParameter::getDefaultStr() const {
  const std::map<int, String> values = getAllValues();
  const auto found = values.find(PriorityDefault);
  PLAT_REQUIRE_AS(found != values.end(), "i != sv.end()", SourceFile, __LINE__);
  return found->second;
}

void ConfigParameter::ownStrings() {
  if (!ownsStrings_) {
    name_ = ownCopy(name_);
    desc_ = ownCopy(desc_);
    locDesc_ = ownCopy(locDesc_);
    ownsStrings_ = true;
  }
}

void ConfigParameter::addTags(const char* text) {
  strSplitSet(text, tags_, ',');
}

bool ConfigParameter::hasTag(const char* tag) const {
  return tags_.count(tag) != 0;
}

void ConfigParameter::addCallback(ParameterChangedCallback* callback) {
  callbacks_.push_back(callback);
}

void ConfigParameter::removeCallback(ParameterChangedCallback* callback) {
  std::erase(callbacks_, callback);
}

void ConfigParameter::assignFrom(const ConfigParameter& other) {
  if (this == &other) {
    return;
  }
  // By their texts, since `other` may be of another type.
  const std::map<int, String> theirs = other.getAllValues();
  for (const auto& [priority, value] : getAllValues()) {
    if (theirs.count(priority) == 0) {
      unsetParam(priority, true);
    }
  }
  for (const auto& [priority, value] : theirs) {
    setParam(value.get(), priority);
  }
}

bool ConfigParameter::admits(int priority) const {
  return priority < PriorityPolicy || !hasTag("noPolicy");
}

/// The text is that of getValueStrAt, which shows no binary value: those may be secrets and must not reach the log.
void ConfigParameter::wasSet(int priority) {
  const int level = priority == PriorityDefault ? LogVerbose : LogDebug;
  if (configuration_ != nullptr && configuration_->logChanges() && parameterLog().enabled(level)) {
    parameterLog().log(level, "set %s(%s) to %s, priority %d", name_, getTypeName(), getValueStrAt(priority).orEmpty(),
                       priority);
  }
  notifyAll(priority);
}

void ConfigParameter::wasUnset(int priority, bool notify) {
  if (configuration_ != nullptr && configuration_->logChanges() && parameterLog().enabled(LogDebug)) {
    const int now = getPriority();
    parameterLog().debug("unset %s(%s) priority %d, now %s, priority %d", name_, getTypeName(), priority,
                         getValueStrAt(now).orEmpty(), now);
  }
  if (notify) {
    notifyAll(priority);
  }
}

void ConfigParameter::notifyAll(int priority) {
  const std::vector<ParameterChangedCallback*> callbacks = callbacks_;  // one may add or remove others
  for (ParameterChangedCallback* const callback : callbacks) {
    if (std::find(callbacks_.begin(), callbacks_.end(), callback) != callbacks_.end()) {
      callback->parameterChanged(*this, priority);
    }
  }
}

}  // namespace plat
