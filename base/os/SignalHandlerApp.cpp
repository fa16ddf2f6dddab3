#include "base/os/SignalHandlerApp.h"

#include "base/os/AppLoop.h"
#include "base/os/signalName.h"
#include "base/plat/log/LogSrc.h"

namespace os {

SignalHandlerApp::SignalHandlerApp(plat::LogSrc* log) noexcept : logSrc_(log) {}

SignalHandlerApp::~SignalHandlerApp() = default;

void SignalHandlerApp::signalled(int sig) {
  if (logSrc_ != nullptr) {
    logSrc_->info("Got signal %s", signalName(sig));
  }
  AppLoop::quit(0);
}

}  // namespace os
