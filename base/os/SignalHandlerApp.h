#pragma once

#include "base/os/SignalHandler.h"

namespace plat {
class LogSrc;
}  // namespace plat

namespace os {

/// Ends the running AppLoop with exit value 0 on any signal that it is registered for.
/// A local of main's frame or the like; observes the log source.
class SignalHandlerApp final : public SignalHandler::Callback {
public:
  /// @param log where "Got signal SIGTERM" goes, at info level; null for nowhere.
  explicit SignalHandlerApp(plat::LogSrc* log = nullptr) noexcept;
  ~SignalHandlerApp() override;

  void signalled(int sig) override;

private:
  plat::LogSrc* logSrc_;
};

}  // namespace os
