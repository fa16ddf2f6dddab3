#pragma once

#include <map>
#include <string>
#include <vector>

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/strings.h"

namespace plat {

/// Values by parameter name, found without regard to case; a null value stands for a name without one.
using ParameterMap = std::map<std::string, String, NoCaseLess>;

/// Another name for a parameter, or one name that sets up to three. Added to a Configuration under its own name, which
/// must differ from its targets', and must outlive it.
class ParameterAlias : private NonCopyable {
public:
  explicit ParameterAlias(const char* target, const char* target2 = nullptr, const char* target3 = nullptr);
  virtual ~ParameterAlias();

  /// Writes what the targets are to be set to into `out`, over what is there. The base gives `value` to each of them;
  /// a derived class may translate it.
  /// @param name the alias's own. @return false if there is no such value.
  virtual bool expand(const char* name, const char* value, ParameterMap& out);

protected:
  [[nodiscard]] const std::vector<std::string>& targets() const noexcept { return targets_; }

private:
  std::vector<std::string> targets_;
};

}  // namespace plat
