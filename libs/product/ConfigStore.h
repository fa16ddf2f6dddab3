#pragma once

#include "base/plat/NonCopyable.h"

namespace plat {
class ConfigParameter;
class Configuration;
}  // namespace plat

namespace qzutil {

/// Where a program's settings are kept between runs: loaded at their priorities at start-up, and the user's own saved.
/// Implemented by ConfigStoreFile. Main thread. A null configuration means plat::Configuration::global().
class ConfigStore : private plat::NonCopyable {
public:
  static constexpr int PriorityFirstLayer = 5;  ///< for stores that have such a layer; that of files has none
  static constexpr int PriorityUser = 10;
  static constexpr int PriorityPolicy = 40;

  ConfigStore() = default;
  virtual ~ConfigStore();

  /// Loads the first layer, the preferences and, with `includePolicy`, the policy. @throws what load() does
  virtual void loadAll(bool includePolicy, plat::Configuration* configuration);
  /// Sets what is kept for `priority`, at that priority. What names no parameter is skipped.
  /// @throws plat::Exception if something that is there cannot be read; what was set before stays set.
  virtual void load(int priority, plat::Configuration* configuration) = 0;
  virtual void loadPolicy(plat::Configuration* configuration);
  /// Keeps for the user every value of `configuration` that differs from the one in `baseline`; parameters that are not
  /// in `baseline` are left out. Names that were replaced are brought up to date on the way.
  virtual void save(plat::Configuration* configuration, const plat::Configuration& baseline) = 0;
  /// Keeps the value in force of one parameter for the user.
  virtual void saveParam(const plat::ConfigParameter& parameter) = 0;
  /// Forgets what is kept for the user of one parameter.
  virtual void removeParam(const plat::ConfigParameter& parameter) = 0;
  /// Whether anything was ever kept for the user.
  [[nodiscard]] virtual bool exists() const = 0;
};

}  // namespace qzutil
