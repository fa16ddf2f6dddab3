#pragma once

#include <memory>

#include "base/plat/config/TypedParameter.h"

namespace plat {

/// A byte buffer, whose text form is hexadecimal. Always counts as advanced, and its value never reaches the log.
class BinaryParameter : public TypedParameter<MBuf<unsigned char>> {
public:
  BinaryParameter(const char* name, const char* desc, const MBuf<unsigned char>& defaultValue, bool advanced = false,
                  Configuration* configuration = nullptr, const char* tags = nullptr);
  BinaryParameter(const char* name, LocDesc desc, const MBuf<unsigned char>& defaultValue, bool advanced = false,
                  Configuration* configuration = nullptr, const char* tags = nullptr);

  bool setParam(const char* value, int priority) override;
  [[nodiscard]] String getValueStrAt(int priority) const override;
  [[nodiscard]] const char* getTypeName() const override;
  [[nodiscard]] std::unique_ptr<ConfigParameter> clone(Configuration& target) const override;
  /// Copies the value in force, and whether it is to be wiped, into `out`, reusing its memory where that fits well.
  virtual void getValueBuf(MBuf<unsigned char>& out) const;

  /// Sets the bytes themselves, and with them whether they are to be wiped.
  bool setValueBuf(const MBuf<unsigned char>& value, int priority);

private:
  BinaryParameter(const BinaryParameter& other, Configuration& target) : TypedParameter(other, target) {}
};

}  // namespace plat
