#pragma once

#include <cstdint>
#include <memory>

#include "base/plat/config/TypedParameter.h"

namespace plat {

/// A 64-bit number, kept as the text "int64:" and 16 hexadecimal digits, most significant first. A text of 16 digits
/// without the prefix is taken for the bytes of the number as they lie in memory, so that it comes out with its bytes
/// reversed: older stores hold values in that form.
class S64Parameter : public TypedParameter<String> {
public:
  /// @param defaultValue in either form; a text that is neither is kept, and reads as 0.
  /// @throws AssertionFail for a null default.
  S64Parameter(const char* name, const char* desc, const char* defaultValue, bool advanced = false,
               Configuration* configuration = nullptr, const char* tags = nullptr);
  S64Parameter(const char* name, LocDesc desc, const char* defaultValue, bool advanced = false,
               Configuration* configuration = nullptr, const char* tags = nullptr);

  bool setParam(const char* value, int priority) override;
  [[nodiscard]] const char* getTypeName() const override;
  [[nodiscard]] std::unique_ptr<ConfigParameter> clone(Configuration& target) const override;

  [[nodiscard]] std::int64_t getValueS64() const;
  bool setValueS64(std::int64_t value, int priority);

private:
  S64Parameter(const S64Parameter& other, Configuration& target) : TypedParameter(other, target) {}
};

}  // namespace plat
