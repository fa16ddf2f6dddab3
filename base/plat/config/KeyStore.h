#pragma once

#include "base/plat/config/ParameterAlias.h"

namespace plat {

/// Where parameter values are kept between runs, by name and without regard to case; a null value stands for a name
/// without one. Implemented by qzutil::ConfigFile.
///
/// Ownership: observed by whoever works on it, for the length of a call.
/// Failure:   what the keeping place raises passes on; a failed change leaves what was kept before.
class KeyStore {
public:
  /// All that is kept now.
  virtual ParameterMap values() = 0;
  virtual void set(const char* name, const char* value) = 0;
  virtual void remove(const char* name) = 0;
  virtual void setUnlessThere(const char* name, const char* value) = 0;

protected:
  ~KeyStore() = default;  // never deleted through this interface
};

}  // namespace plat
