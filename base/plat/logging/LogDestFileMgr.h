#pragma once

#include "base/plat/NeverDestroyed.h"
#include "base/plat/NonCopyable.h"
#include "base/plat/String.h"
#include "base/plat/config/ParameterChangedCallback.h"
#include "base/plat/logging/LogDestFile.h"

namespace plat {

/// Keeps the destination `file` at the path that the parameters `LogDir` and `LogFile` give, once it is enabled.
///
/// Ownership: one instance, made with the destination by the first use and never destroyed.
/// Thread:    main.
class LogDestFileMgr final : public ParameterChangedCallback, private NonCopyable {
public:
  static LogDestFileMgr& instance();

  /// Starts or stops writing to the file.
  /// @throws Exception "unknown environment variable: %s" if the path cannot be computed.
  static void setEnabled(bool enabled);

  void parameterChanged(ConfigParameter& parameter, int priority) override;
  [[nodiscard]] LogDestFile& dest() noexcept { return dest_; }

private:
  friend class NeverDestroyed<LogDestFileMgr>;

  LogDestFileMgr();

  LogDestFile dest_;
  bool enabled_ = false;
};

}  // namespace plat
