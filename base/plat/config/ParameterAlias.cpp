#include "base/plat/config/ParameterAlias.h"

namespace plat {

ParameterAlias::ParameterAlias(const char* target, const char* target2, const char* target3) {
  for (const char* const name : {target, target2, target3}) {
    if (name != nullptr) {
      targets_.emplace_back(name);
    }
  }
}

ParameterAlias::~ParameterAlias() = default;

bool ParameterAlias::expand(const char*, const char* value, ParameterMap& out) {
  for (const std::string& target : targets_) {
    out.insert_or_assign(target, String(value));
  }
  return true;
}

}  // namespace plat
