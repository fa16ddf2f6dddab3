#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"

namespace plat {

class Configuration;
class LogSrc;
class ParameterChangedCallback;

/// The key of a translated description, where a plain text would be ambiguous.
struct LocDesc {
  const char* key;
  explicit constexpr LocDesc(const char* translationKey) noexcept : key(translationKey) {}
};

/// The priorities with a meaning of their own. Others may be used in between.
enum ParameterPriority : int {
  PriorityDefault = 0,      ///< always present
  PriorityPreference = 10,  ///< the user's files and the command line
  PriorityPolicy = 30,      ///< from here on the administrator's policy; qzutil::ConfigStore loads it at 40
};

/// A tunable value: not one, but one for each priority at which somebody has set it.
///
/// Purpose:   a default, a user's preference and a policy coexist; the value of the highest priority is in force, and
///            taking it away brings back the next. The owning code reads it typed (BoolParameter and so on), everybody
///            else as text. A name that begins with `_` is left out of all listings.
/// Ownership: usually a static object beside the code that reads it; registered with a Configuration at construction.
/// Thread:    main only, no locks. Other threads may read what has settled.
/// Lifecycle: construction neither logs nor calls back.
/// Failure:   a value that does not fit answers false and changes nothing; the caller words the error.
class ConfigParameter : private NonCopyable {
public:
  virtual ~ConfigParameter();

  /// Sets the value at `priority` from its text form. Null is a value for a BoolParameter only: true.
  /// @return false if the text does not fit, or if it is a policy and the tag "noPolicy" forbids that.
  /// @throws BadUtf8 from a StringParameter; whatever a callback throws, the change then stands
  virtual bool setParam(const char* value, int priority) = 0;
  /// Takes the value at `priority` away. Nothing happens for priority 0 or if there is none.
  /// @param notify whether callbacks are called.
  virtual void unsetParam(int priority, bool notify) = 0;
  /// Sets from a number; false for types that have none.
  virtual bool setParamInt(int value, int priority);
  /// The text of the value in force.
  [[nodiscard]] virtual String getValueStr() const = 0;
  /// The value in force, 0 for types that have no number.
  [[nodiscard]] virtual int getValueInt() const;
  /// The priority of the value in force.
  [[nodiscard]] virtual int getPriority() const = 0;
  [[nodiscard]] virtual bool hasPriority(int priority) const = 0;
  /// The text at exactly this priority, null if there is none; fit to be shown: "<binary>" for a BinaryParameter.
  [[nodiscard]] virtual String getValueStrAt(int priority) const = 0;
  /// The texts of all priorities, in the form that setParam takes.
  [[nodiscard]] virtual std::map<int, String> getAllValues() const = 0;
  /// "bool", "int", "string", "enum", "binary" or "s64".
  [[nodiscard]] virtual const char* getTypeName() const = 0;
  /// A copy with all values and tags and its own copies of the texts, but no callbacks, registered with `target`.
  [[nodiscard]] virtual std::unique_ptr<ConfigParameter> clone(Configuration& target) const = 0;
  /// How a number shows: "%d", or the name that an EnumParameter gives it.
  [[nodiscard]] virtual String intToStr(int value) const;

  [[nodiscard]] const char* name() const noexcept { return name_; }
  /// The configuration that it is registered with; null once that is gone.
  [[nodiscard]] Configuration* configuration() const noexcept { return configuration_; }
  /// The next parameter in the list of its configuration, an older one.
  [[nodiscard]] ConfigParameter* next() const noexcept { return next_; }
  /// Whether only the extended help lists it.
  [[nodiscard]] bool isAdvanced() const noexcept { return advanced_; }
  /// Whether it stays out of every listing.
  [[nodiscard]] bool isHidden() const noexcept { return name_[0] == '_'; }
  /// The description, translated if it has a key; lives until the locale changes. Defined in configHelp.cpp, since
  /// the texts stand above the parameters.
  [[nodiscard]] const char* getDescription() const;
  /// The key of its description, null if that is a plain text.
  [[nodiscard]] const char* locDesc() const noexcept { return locDesc_; }
  /// The text at priority 0. @throws AssertionFail if there is none.
  [[nodiscard]] String getDefaultStr() const;

  /// Puts copies of its own in place of the texts that the constructor observed, which may go then.
  void ownStrings();
  /// Adds the elements of a list with commas between; null adds none.
  void addTags(const char* text);
  [[nodiscard]] bool hasTag(const char* tag) const;
  [[nodiscard]] const std::set<std::string>& tags() const noexcept { return tags_; }

  /// Callbacks are called in the order in which they were added.
  void addCallback(ParameterChangedCallback* callback);
  void removeCallback(ParameterChangedCallback* callback);

  /// Makes the values of all priorities those of `other`, calling back for each that changes.
  void assignFrom(const ConfigParameter& other);

protected:
  /// `name`, `desc` and `locDesc` are observed. A null `configuration` means the global one.
  ConfigParameter(const char* name, const char* desc, const char* locDesc, bool advanced, Configuration* configuration,
                  const char* tags);
  /// For clone().
  ConfigParameter(const ConfigParameter& other, Configuration& target);

  /// The log source "ConfigParameter".
  static LogSrc& parameterLog();
  /// The default of a parameter that holds a text. @throws AssertionFail if it is null
  static String checkedDefault(const char* name, const char* defaultValue);
  /// Whether a value may be set at this priority at all.
  [[nodiscard]] bool admits(int priority) const;
  /// What follows a change: the log line, then the callbacks.
  void wasSet(int priority);
  void wasUnset(int priority, bool notify);

private:
  friend class Configuration;

  void notifyAll(int priority);

  Configuration* configuration_;
  ConfigParameter* next_ = nullptr;
  const char* name_;
  const char* desc_;
  const char* locDesc_;
  bool advanced_;
  bool ownsStrings_;  ///< the three texts come from malloc and go with the object; true on clones
  std::set<std::string> tags_;
  std::vector<ParameterChangedCallback*> callbacks_;
};

}  // namespace plat
