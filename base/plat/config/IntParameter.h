#pragma once

#include <memory>

#include "base/plat/config/TypedParameter.h"

namespace plat {

/// A whole number within a range. Its text is read as C reads integers (decimal, 0x and 0 prefixes) and written in
/// decimal.
class IntParameter : public TypedParameter<int> {
public:
  /// @param minValue,maxValue both allowed; the default is not checked against them.
  IntParameter(const char* name, const char* desc, int defaultValue, bool advanced, Configuration* configuration,
               int minValue, int maxValue, const char* tags = nullptr);
  IntParameter(const char* name, LocDesc desc, int defaultValue, bool advanced, Configuration* configuration,
               int minValue, int maxValue, const char* tags = nullptr);

  bool setParam(const char* value, int priority) override;
  bool setParamInt(int value, int priority) override;
  [[nodiscard]] int getValueInt() const override;
  [[nodiscard]] const char* getTypeName() const override;
  [[nodiscard]] std::unique_ptr<ConfigParameter> clone(Configuration& target) const override;

  [[nodiscard]] int minValue() const noexcept { return minValue_; }
  [[nodiscard]] int maxValue() const noexcept { return maxValue_; }

protected:
  IntParameter(const IntParameter& other, Configuration& target)
      : TypedParameter(other, target), minValue_(other.minValue_), maxValue_(other.maxValue_) {}

private:
  int minValue_;
  int maxValue_;
};

}  // namespace plat
