#pragma once

namespace plat {

class ConfigParameter;

/// Learns that a parameter has changed. Implemented by whoever has to act at once instead of reading the value anew
/// each time; registered with ConfigParameter::addCallback and must outlive the parameter or be removed from it.
class ParameterChangedCallback {
public:
  virtual ~ParameterChangedCallback();

  /// Called inside the call that sets or unsets, on the main thread. An exception leaves that call; the change stands.
  /// @param priority the one whose value was set or taken away, which need not be the one in force.
  virtual void parameterChanged(ConfigParameter& parameter, int priority) = 0;
};

}  // namespace plat
