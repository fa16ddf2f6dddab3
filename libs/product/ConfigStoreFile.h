#pragma once

#include <map>
#include <vector>

#include "base/plat/String.h"
#include "libs/product/ConfigStore.h"
#include "libs/product/directories.h"

namespace qzutil {

/// Settings in files: `common` and one named after the application, in the folders `config.d` (preferences) and
/// `policy.d` (policy) beside the program, of the machine and of the user.
///
/// Purpose:   of several files at one priority a later one replaces values of an earlier one: the user's beat the
///            machine's, these the program's, and within a folder the application's beat the common ones. Only the
///            user's own file is ever written, as a whole (see ConfigFile).
/// Ownership: holds paths only. The application must be known to os::AppInfo when it is made.
/// Thread:    main; every call reads or writes files before it returns.
class ConfigStoreFile final : public ConfigStore {
public:
  explicit ConfigStoreFile(const Directories& dirs = directories());

  /// @throws plat::Exception "Error reading %s: %s" if a file that is there cannot be read, or a value makes whoever
  /// listens to the parameter fail
  void load(int priority, plat::Configuration* configuration) override;
  // These throw what ConfigFile does.
  void save(plat::Configuration* configuration, const plat::Configuration& baseline) override;
  void saveParam(const plat::ConfigParameter& parameter) override;
  void removeParam(const plat::ConfigParameter& parameter) override;
  /// Whether the user's file is there.
  [[nodiscard]] bool exists() const override;

  /// The files of a priority in the order in which they are loaded.
  [[nodiscard]] std::vector<plat::String> files(int priority) const;

private:
  void addLayer(const plat::String& dir, int priority, bool custom);

  std::map<int, std::vector<plat::String>> files_;  ///< by priority
  plat::String userFile_;
};

}  // namespace qzutil
