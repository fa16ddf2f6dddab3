// Bringing stored values from old parameter names to those of today.
#include "base/plat/config/Configuration.h"
#include "base/plat/config/KeyStore.h"

namespace plat {

void Configuration::renameAliasesIn(KeyStore& store) {
  const ParameterMap stored = aliases_.empty() ? ParameterMap() : store.values();
  for (const auto& [name, alias] : aliases_) {
    const auto old = stored.find(name);
    ParameterMap targets;
    if (old == stored.end() || !alias->expand(name.c_str(), old->second.get(), targets)) {
      continue;
    }
    for (const auto& [target, value] : targets) {
      store.setUnlessThere(target.c_str(), value.get());
    }
    store.remove(name.c_str());  // last, so that a failure before it loses no value
  }
  for (Configuration* const child : children_) {
    child->renameAliasesIn(store);
  }
}

}  // namespace plat
