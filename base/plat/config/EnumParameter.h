#pragma once

#include <memory>
#include <utility>

#include "base/plat/config/IntParameter.h"

namespace plat {

/// One of several names, found without regard to case; as a number, its index.
class EnumParameter : public IntParameter {
public:
  /// @param defaultName null or an unknown name means the first. @param names ends with a null; observed.
  EnumParameter(const char* name, const char* desc, const char* defaultName, bool advanced,
                Configuration* configuration, const char* const* names, const char* tags = nullptr);
  EnumParameter(const char* name, LocDesc desc, const char* defaultName, bool advanced, Configuration* configuration,
                const char* const* names, const char* tags = nullptr);

  bool setParam(const char* value, int priority) override;
  [[nodiscard]] const char* getTypeName() const override;
  [[nodiscard]] std::unique_ptr<ConfigParameter> clone(Configuration& target) const override;
  [[nodiscard]] String intToStr(int value) const override;

  /// Ends with a null.
  [[nodiscard]] const char* const* names() const noexcept { return names_; }
  /// Keeps alive what owns the names, for as long as this object and its clones need them.
  void keepNames(std::shared_ptr<const void> owner) noexcept { namesOwner_ = std::move(owner); }

private:
  EnumParameter(const EnumParameter& other, Configuration& target)
      : IntParameter(other, target), names_(other.names_), namesOwner_(other.namesOwner_) {}

  const char* const* names_;
  std::shared_ptr<const void> namesOwner_;  ///< null where the names live as long as the program
};

}  // namespace plat
