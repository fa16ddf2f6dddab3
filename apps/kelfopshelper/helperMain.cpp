#include "apps/kelfopshelper/helperMain.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <signal.h>
#include <unistd.h>

#include "base/io/Io.h"
#include "base/io/MsgIpc.h"
#include "base/os/AppLoop.h"
#include "base/os/LaunchedProcessPipe.h"
#include "base/os/SignalHandler.h"
#include "base/os/SignalHandlerApp.h"
#include "base/plat/Exception.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/ipc/LogDestIpc.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/logging/logging.h"
#include "base/plat/usage/configXml.h"
#include "libs/fops/local/SFopsMgrViaIpc.h"
#include "libs/product/ProductInfo.h"

namespace {

plat::LogSrc helperLog("FopsHelper");

/// The application object: the channel to the parent and the file service on it.
///
/// Ownership: a local variable of helperMain, inside the life of the loop. Thread: the main thread.
/// Lifecycle: the reader for "fops" stands before the first turn of the loop, since the parent may already have
/// written; a closed channel ends the loop, and nothing is tried again.
class FopsHelper final : private io::MsgIpc::Callback {
public:
  explicit FopsHelper(std::unique_ptr<io::Io> link) : msgIpc_(this, "filetransfer", false, true) {
    msgIpc_.accept(link.release());
    mgr_ = std::make_unique<fops::SFopsMgrViaIpc>(msgIpc_);
    plat::LogDestIpc::instance().setIpc(&msgIpc_);
  }

  ~FopsHelper() override {
    // The log first: what is logged from here on must find no channel that is about to go.
    plat::LogDestIpc::instance().setIpc(nullptr);
    mgr_.reset();
  }

  FopsHelper(const FopsHelper&) = delete;
  FopsHelper& operator=(const FopsHelper&) = delete;

private:
  void msgIpcClosed(io::MsgIpc&) override { os::AppLoop::quit(1); }

  void msgIpcError(io::MsgIpc&, const plat::Exception& failure) override {
    helperLog.info("Read exception: %s", plat::ExceptionText(failure).get());
    try {
      // The link may still be writable, and the parent should learn why it is about to close.
      plat::LogDestIpc::instance().flush();
    } catch (const plat::Exception&) {
    }
  }

  io::MsgIpc msgIpc_;
  std::unique_ptr<fops::SFopsMgrViaIpc> mgr_;  ///< made once the channel has its link, gone before the channel
};

/// Shows the version and the parameters, or their XML description, and ends the process.
void showUsage(int mode, plat::Configuration& configuration) {
  constexpr int XmlMode = 2;
  if (mode == XmlMode) {
    std::printf("%s", plat::configToXml(configuration, false, false).get());
  } else {
    std::printf("%s\n\n", qzutil::productInfo().productInfo.orEmpty());
    configuration.printHelp(mode == 1, true);
  }
  std::exit(1);
}

void setLogPrefix() {
  const plat::String prefix = plat::String::format("%lld", static_cast<long long>(getpid()));
  if (plat::LogDestIpc::instance().prefix() != prefix) {
    plat::LogDestIpc::instance().setPrefix(prefix.get());
  }
}

}  // namespace

int helperMain(char** args) {
  signal(SIGXFSZ, SIG_IGN);      // a file that grows too large is an error of that request
  plat::LogDestIpc::instance();  // the destination must exist before a log setting names it
  plat::logInit("*:ipc:200", nullptr, nullptr, false);
  os::LaunchedProcessPipe pipe;
  std::unique_ptr<io::Io> link;
  try {
    link = pipe.connect(args, 0);
  } catch (const plat::Exception& failure) {
    std::fprintf(stderr, "Error contacting server: %s\n", failure.message);
    return 1;
  }
  // Behind the link, whose words stand at the front of the command line, and ahead of the service, which takes FopsDir
  // as it finds it.
  plat::Configuration::global().parseArgsOrThrow(args, showUsage);
  // Ahead of signals and link, which both need the event manager that it brings.
  os::AppLoop loop;
  os::SignalHandlerApp onSignal(&helperLog);
  os::SignalHandler::instance().setHandler(SIGINT, &onSignal, true);
  os::SignalHandler::instance().setHandler(SIGTERM, &onSignal, true);
  FopsHelper helper(std::move(link));
  setLogPrefix();
  return loop.run();
}
