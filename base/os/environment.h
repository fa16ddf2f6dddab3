#pragma once

#include "base/plat/NonCopyable.h"

namespace os {

/// Changes to the process's environment. Not while another thread reads it.

/// @throws plat::SystemException "setenv" for a name that is empty or holds "="
void setEnvironment(const char* name, const char* value);
/// @throws plat::SystemException "unsetenv" likewise
void unsetEnvironment(const char* name);
/// Leaves no variable, in the very array that `environ` points to.
void clearEnvironment() noexcept;

/// Makes a variable read as empty for as long as it lives; without effect on one that is unset or empty.
/// The value comes back at the end, unless the variable has been changed in between.
class EnvironmentHider : plat::NonCopyable {
public:
  /// @param name observed; must outlive this object.
  explicit EnvironmentHider(const char* name) noexcept;
  ~EnvironmentHider();

private:
  const char* name_;
  char* value_;  // inside the environment; null if the variable is unset
  char firstChar_;
};

}  // namespace os
