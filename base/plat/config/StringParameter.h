#pragma once

#include <memory>

#include "base/plat/config/TypedParameter.h"

namespace plat {

/// A UTF-8 text, never null.
class StringParameter : public TypedParameter<String> {
public:
  /// @throws AssertionFail for a null default.
  StringParameter(const char* name, const char* desc, const char* defaultValue, bool advanced = false,
                  Configuration* configuration = nullptr, const char* tags = nullptr);
  StringParameter(const char* name, LocDesc desc, const char* defaultValue, bool advanced = false,
                  Configuration* configuration = nullptr, const char* tags = nullptr);

  /// False for null. @throws BadUtf8 "Bad UTF-8 string for %s"
  bool setParam(const char* value, int priority) override;
  [[nodiscard]] const char* getTypeName() const override;
  [[nodiscard]] std::unique_ptr<ConfigParameter> clone(Configuration& target) const override;

  /// The text in force without a copy; lives until the next change.
  [[nodiscard]] const char* value() const noexcept { return current().orEmpty(); }

private:
  StringParameter(const StringParameter& other, Configuration& target) : TypedParameter(other, target) {}
};

}  // namespace plat
