#pragma once

#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/plat/MBuf.h"
#include "base/plat/String.h"
#include "base/plat/config/ParameterAlias.h"
#include "base/plat/strings.h"

namespace plat {

class BinaryParameter;
class BoolParameter;
class ConfigParameter;
class EnumParameter;
class IntParameter;
class KeyStore;
class S64Parameter;
class StringParameter;

/// The registry of parameters: finds them by name, sets them from text or a command line, lists and compares them.
///
/// Purpose:   one, global(), holds every static parameter of the program; others may hang below it as children and are
///            searched after it. All names are compared without regard to case.
/// Ownership: observes parameters, children and aliases; owns only what its add... operations made and what it cloned.
/// Thread:    main, no locks. Parameters register before main.
/// Lifecycle: global() is made at the first use and never destroyed. Parameters that outlive another configuration are
///            registered nowhere from then on.
class Configuration {
public:
  static Configuration& global();

  // A configuration of one's own

  /// @param locDesc key of the title for the help text, observed; null for one made of the name.
  explicit Configuration(const char* name, const char* locDesc = nullptr);
  /// Takes the aliases and clones of all parameters of `other` and of its children.
  Configuration(const Configuration& other);
  Configuration& operator=(const Configuration&) = delete;
  ~Configuration();

  [[nodiscard]] const char* name() const noexcept { return name_.orEmpty(); }
  [[nodiscard]] const char* locDesc() const noexcept { return locDesc_; }

  // Finding a parameter and its value

  /// The parameter or null; own ones go before those of children.
  [[nodiscard]] ConfigParameter* find(const char* name, bool recurse) const;
  /// Children included. @throws Exception "Parameter %s not found"
  [[nodiscard]] ConfigParameter& getParam(const char* name) const;
  // The same for a parameter of a certain type. @throws also AssertionFail if it is of another one
  [[nodiscard]] BoolParameter& getBoolParam(const char* name) const;
  [[nodiscard]] IntParameter& getIntParam(const char* name) const;
  [[nodiscard]] StringParameter& getStringParam(const char* name) const;
  [[nodiscard]] EnumParameter& getEnumParam(const char* name) const;
  [[nodiscard]] BinaryParameter& getBinaryParam(const char* name) const;
  [[nodiscard]] S64Parameter& getS64Param(const char* name) const;
  /// The value, or `fallback` if there is no such switch.
  [[nodiscard]] bool getBool(const char* name, bool fallback) const;

  /// Walks the parameters of a configuration, the one constructed last first; then, with `recurse`, those of its
  /// children, depth first. The parameters must stay while it walks.
  class Iterator {
  public:
    Iterator(const Configuration& configuration, bool recurse);
    /// The next parameter, null at the end.
    ConfigParameter* next();

  private:
    bool recurse_;
    ConfigParameter* parameter_;
    std::vector<const Configuration*> pending_;  ///< children still to be visited, the next one last
    void push(const Configuration& configuration);
  };

  // Setting values by name

  /// Sets what the alias of that name stands for, or the parameter, here or in the first child that takes it.
  /// @return false if there is none or the value does not fit. @throws what ConfigParameter::setParam throws
  bool set(const char* name, const char* value, int priority);
  /// Sets from `--name=value`, `--name`, `-name=value`, `-name` or `name=value`; without `=` the value is null, which
  /// turns a switch on. @return false if nothing was set.
  bool setFromArg(const char* arg, int priority);
  /// Whether changes of its parameters are logged; true at first.
  [[nodiscard]] bool logChanges() const noexcept { return logChanges_; }
  void setLogChanges(bool logChanges) noexcept { logChanges_ = logChanges; }

  // Reading a command line. `cursor` moves along a null-terminated argument vector over what was taken, at priority 10.
  // Defined in base/plat/usage/configArgs.cpp, since mistakes are worded by the texts, which stand above the registry.

  /// Told that help is asked for; expected to end the process. `mode` is 0, 1 for "all", 2 for "xml".
  using HelpCallback = void (*)(int mode, Configuration& configuration);

  /// Takes one parameter, in a form of setFromArg or as `-name value` in two arguments. @return whether it did.
  bool parseArg(char**& cursor);
  /// Takes parameters up to the first argument that is none. If that asks for help ("-help", "--help", "-h", "/?",
  /// perhaps followed by "all" or "xml") the callback is told, unless it is null, and the answer is false.
  bool parseArgs(char**& cursor, HelpCallback helpCallback);
  /// parseArgs for a program without positional arguments. @throws Exception of type "BadCmdLineArg" if an argument is
  /// left over, the one that asked for help included if the callback returned.
  void parseArgsOrThrow(char**& cursor, HelpCallback helpCallback);

  // Showing what there is. The first two are defined in base/plat/usage/configHelp.cpp, for the same reason.

  /// Prints the usage of parameters and their list; with `showAdvanced` also what can be logged, and where to.
  void printHelp(bool showAdvanced, bool showDefaults);
  /// Prints a title and the parameters by name, then those of the children.
  void printParams(bool showAdvanced, bool showDefaults, std::FILE* stream, int width, int nameWidth) const;
  /// Logs all values, the highest priority first.
  void logValues() const;

  // Making parameters that belong to this configuration. `locDesc` is the key of the description; all texts observed.

  BoolParameter& addBool(const char* name, const char* locDesc, bool defaultValue, bool advanced = false,
                         const char* tags = nullptr);
  IntParameter& addInt(const char* name, const char* locDesc, int defaultValue, int minValue, int maxValue,
                       bool advanced = false, const char* tags = nullptr);
  StringParameter& addString(const char* name, const char* locDesc, const char* defaultValue, bool advanced = false,
                             const char* tags = nullptr);
  EnumParameter& addEnum(const char* name, const char* locDesc, const char* defaultName, const char* const* names,
                         bool advanced = false, const char* tags = nullptr);
  BinaryParameter& addBinary(const char* name, const char* locDesc, const MBuf<unsigned char>& defaultValue,
                             bool advanced = false, const char* tags = nullptr);
  S64Parameter& addS64(const char* name, const char* locDesc, const char* defaultValue, bool advanced = false,
                       const char* tags = nullptr);
  /// Takes over a parameter that is registered here.
  ConfigParameter& own(std::unique_ptr<ConfigParameter> parameter);
  /// Deletes the parameters that belong to this configuration, the oldest first.
  void deleteOwned();

  // Hanging other configurations below

  /// Adds a child at the end, or takes it away, which has to be done before it dies.
  void setChild(Configuration& child, bool add);
  [[nodiscard]] const std::list<Configuration*>& children() const noexcept { return children_; }

  // Giving parameters further names

  /// Makes `name` stand for what the alias expands to. Replaces an alias of that name.
  void addAlias(const char* name, ParameterAlias& alias);
  /// Takes over the aliases of `other` whose names are new here.
  void addAliases(const Configuration& other);
  /// Gives values that are kept under an alias to the alias's targets, unless these have one, and forgets the alias's
  /// own; then the same for the children. @throws what the store raises; no value is lost then
  void renameAliasesIn(KeyStore& store);

  // Copying and comparing

  /// Gives each parameter the values of the one of that name in `other`.
  /// @param cloneMissing parameters that are not here are cloned. @param recurse includes the children of both.
  void copyFrom(const Configuration& other, bool cloneMissing, bool recurse);
  /// Sets here what is different in `base` and `other`: to `base`'s value, at the priority that it has there.
  void applyDifferences(const Configuration& base, const Configuration& other);
  /// The names of the parameters that differ, with commas between.
  [[nodiscard]] static String listDifferences(const Configuration& base, const Configuration& other);
  /// Whether all parameters of `base` exist in `other` with the same text.
  [[nodiscard]] static bool sameAs(const Configuration& base, const Configuration& other);
  /// Adds each parameter with a value at exactly this priority to the map.
  void collectAtPriority(int priority, ParameterMap& map) const;

private:
  friend class ConfigParameter;

  void add(ConfigParameter& parameter) noexcept;
  void remove(ConfigParameter& parameter) noexcept;
  bool setAlias(ParameterAlias& alias, const char* name, const char* value, int priority);
  template <class P>
  P& getTyped(const char* name) const;
  template <class P, class... Args>
  P& addOwned(const Args&... args);

  String name_;
  const char* locDesc_;
  ConfigParameter* params_ = nullptr;  ///< the one constructed last, linked by ConfigParameter::next
  std::list<Configuration*> children_;
  std::vector<std::unique_ptr<ConfigParameter>> owned_;
  std::map<std::string, ParameterAlias*, NoCaseLess> aliases_;
  bool logChanges_ = true;
};

}  // namespace plat
