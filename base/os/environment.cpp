#include "base/os/environment.h"

#include <cerrno>
#include <cstdlib>

#include <unistd.h>

#include "base/plat/exceptions.h"

namespace os {

void setEnvironment(const char* name, const char* value) {
  if (::setenv(name, value, 1) != 0) {
    throw plat::SystemException("setenv", errno);
  }
}

void unsetEnvironment(const char* name) {
  if (::unsetenv(name) != 0) {
    throw plat::SystemException("unsetenv", errno);
  }
}

void clearEnvironment() noexcept {
  if (environ != nullptr) {
    *environ = nullptr;
  }
}

EnvironmentHider::EnvironmentHider(const char* variable) noexcept
    : name_(variable), value_(std::getenv(variable)), firstChar_(value_ != nullptr ? *value_ : '\0') {
  if (value_ != nullptr) {
    *value_ = '\0';
  }
}

EnvironmentHider::~EnvironmentHider() {
  if (value_ != nullptr && std::getenv(name_) == value_) {
    *value_ = firstChar_;
  }
}

}  // namespace os
