#include "libs/product/ConfigStoreFile.h"

#include <utility>

#include "base/os/info/AppInfo.h"
#include "base/plat/DString.h"
#include "base/plat/Exception.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"
#include "base/plat/log/LogSrc.h"
#include "base/rdr/FileInStream.h"
#include "libs/product/ConfigFile.h"
#include "libs/product/configFileFormat.h"

namespace qzutil {

namespace {

plat::LogSrc log("FileConfig");

plat::Configuration& orGlobal(plat::Configuration* configuration) {
  return configuration ? *configuration : plat::Configuration::global();
}

/// Keys in memory, for the aliases to work on.
class Keys final : public plat::KeyStore {
public:
  plat::ParameterMap values() override { return map; }
  void set(const char* name, const char* value) override { map.insert_or_assign(name, plat::String(value)); }
  void remove(const char* name) override { map.erase(name); }
  void setUnlessThere(const char* name, const char* value) override { map.try_emplace(name, value); }

  plat::ParameterMap map;
};

/// Reads the file with old names replaced by those that they stand for. Each line is looked at by itself, so that of
/// two that end in one key the later one counts, as it does in loading.
plat::ParameterMap readUpToDate(const char* path, plat::Configuration& configuration) {
  plat::ParameterMap values;
  rdr::FileInStream in(nullptr);
  if (!openConfigFile(in, path)) {
    return values;
  }
  plat::DString line;
  for (ConfigEntry entry{}; readConfigLine(in, line, entry);) {
    Keys keys;
    keys.set(entry.name, entry.value);
    configuration.renameAliasesIn(keys);
    for (const auto& [name, value] : keys.map) {
      values.insert_or_assign(name, value);
    }
  }
  return values;
}

void loadFile(const char* path, int priority, plat::Configuration& configuration) {
  log.verbose("Looking for %s config in %s", configuration.name(), path);
  try {
    rdr::FileInStream in(nullptr);
    if (!openConfigFile(in, path)) {
      return;
    }
    log.debug("Reading %s config from %s", configuration.name(), path);
    plat::DString line;
    for (ConfigEntry entry{}; readConfigLine(in, line, entry);) {
      // Whether it was taken does not matter: `common` is for all programs of the product, each with names of its own.
      configuration.set(entry.name, entry.value, priority);
    }
  } catch (const plat::Exception& failure) {
    // No file is passed over: a policy that is there and cannot be read must not count as none.
    throw plat::Exception(plat::Formatted, "Error reading %s: %s", path, failure.message);
  }
}

}  // namespace

ConfigStoreFile::ConfigStoreFile(const Directories& dirs) : userFile_(dirs.userConfigFile) {
  if (!dirs.program.isNull()) {
    const plat::String beside = plat::fileJoin(dirs.program.get(), os::AppInfo::pathComp());
    // Within a priority a later layer replaces what an earlier one says: what came with the program, then the
    // machine's settings, then the user's. Policies have no layer of the user, who could lift them there.
    addLayer(plat::fileJoin(beside.get(), "config.d"), PriorityUser, true);
    addLayer(plat::fileJoin(beside.get(), "policy.d"), PriorityPolicy, false);
  }
  addLayer(plat::fileJoin(dirs.machine.get(), "config.d"), PriorityUser, true);
  addLayer(dirs.userConfigDir, PriorityUser, false);
  addLayer(plat::fileJoin(dirs.machine.get(), "policy.d"), PriorityPolicy, false);
}

void ConfigStoreFile::addLayer(const plat::String& dir, int priority, bool custom) {
  std::vector<plat::String>& files = files_[priority];
  files.push_back(plat::fileJoin(dir.get(), "common"));
  if (custom) {
    files.push_back(plat::fileJoin(dir.get(), "common.custom"));
  }
  files.push_back(plat::fileJoin(dir.get(), os::AppInfo::app()));
}

std::vector<plat::String> ConfigStoreFile::files(int priority) const {
  const auto found = files_.find(priority);
  return found == files_.end() ? std::vector<plat::String>() : found->second;
}

void ConfigStoreFile::load(int priority, plat::Configuration* configuration) {
  for (const plat::String& path : files(priority)) {
    loadFile(path.get(), priority, orGlobal(configuration));
  }
}

void ConfigStoreFile::save(plat::Configuration* configuration, const plat::Configuration& baseline) {
  plat::Configuration& source = orGlobal(configuration);
  // What the file holds and this program does not know stays in it.
  plat::ParameterMap values = readUpToDate(userFile_.get(), source);
  bool any = false;
  for (plat::Configuration::Iterator parameters(source, true); const auto* parameter = parameters.next();) {
    const plat::ConfigParameter* const before = baseline.find(parameter->name(), true);
    plat::String value = parameter->getValueStr();
    // What was not changed stays out, so that a later default or setting of the machine still reaches this user.
    if (before != nullptr && before->getValueStr() != value) {
      values.insert_or_assign(parameter->name(), std::move(value));
      any = true;
    }
  }
  // Without a change nothing is written, not even to bring old names up to date.
  if (any) {
    ConfigFile(userFile_.get()).write(values);
  }
}

void ConfigStoreFile::saveParam(const plat::ConfigParameter& parameter) {
  ConfigFile(userFile_.get()).set(parameter.name(), parameter.getValueStr().get());
}

void ConfigStoreFile::removeParam(const plat::ConfigParameter& parameter) {
  ConfigFile(userFile_.get()).remove(parameter.name());
}

bool ConfigStoreFile::exists() const {
  return plat::fileExists(userFile_.get());
}

}  // namespace qzutil
