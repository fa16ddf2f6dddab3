#include "libs/product/ConfigStore.h"

namespace qzutil {

ConfigStore::~ConfigStore() = default;

void ConfigStore::loadAll(bool includePolicy, plat::Configuration* configuration) {
  load(PriorityFirstLayer, configuration);
  load(PriorityUser, configuration);
  if (includePolicy) {
    loadPolicy(configuration);
  }
}

void ConfigStore::loadPolicy(plat::Configuration* configuration) {
  load(PriorityPolicy, configuration);
}

}  // namespace qzutil
