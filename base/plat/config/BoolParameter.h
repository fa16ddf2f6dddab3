#pragma once

#include <memory>

#include "base/plat/config/TypedParameter.h"

namespace plat {

/// A switch. True: null, "", "1", "on", "true", "yes"; false: "0", "off", "false", "no", all without regard to case.
/// Its text is "1" or "0".
class BoolParameter : public TypedParameter<bool> {
public:
  BoolParameter(const char* name, const char* desc, bool defaultValue, bool advanced = false,
                Configuration* configuration = nullptr, const char* tags = nullptr);
  BoolParameter(const char* name, LocDesc desc, bool defaultValue, bool advanced = false,
                Configuration* configuration = nullptr, const char* tags = nullptr);

  /// Any other text is logged as an error and refused.
  bool setParam(const char* value, int priority) override;
  /// True for anything but 0.
  bool setParamInt(int value, int priority) override;
  [[nodiscard]] int getValueInt() const override;
  [[nodiscard]] const char* getTypeName() const override;
  [[nodiscard]] std::unique_ptr<ConfigParameter> clone(Configuration& target) const override;

  [[nodiscard]] bool getValue() const noexcept { return current(); }

private:
  BoolParameter(const BoolParameter& other, Configuration& target) : TypedParameter(other, target) {}
};

}  // namespace plat
