#pragma once

#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/config/ParameterChangedCallback.h"

namespace qzutil {

/// Words the product's texts anew whenever the locale changes, and hands the long one to the log file as its header.
///
/// Made at start-up, lives until exit, main thread.
class VersionInfoUpdater final : public plat::ParameterChangedCallback, private plat::NonCopyable {
public:
  /// Hooks on to the parameter `Locale` and runs once.
  /// @param linkVersion the version that documentation links name; null means productBuild up to its first dot.
  explicit VersionInfoUpdater(const char* linkVersion = nullptr);
  ~VersionInfoUpdater() override;

  void parameterChanged(plat::ConfigParameter& parameter, int priority) override;

private:
  void update();
  plat::String acknowledgementsLink() const;

  plat::String linkVersion_;
};

}  // namespace qzutil
