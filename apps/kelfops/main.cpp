#include <cstdio>
#include <memory>

#include <signal.h>

#include "apps/kelfops/ActionCommand.h"
#include "apps/kelfops/GetCommand.h"
#include "apps/kelfops/HelperProcess.h"
#include "apps/kelfops/HelperStats.h"
#include "apps/kelfops/HelperWatch.h"
#include "apps/kelfops/InfoCommand.h"
#include "apps/kelfops/ListCommand.h"
#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/PutCommand.h"
#include "apps/kelfops/commandLine.h"
#include "apps/kelfops/localPath.h"
#include "base/io/Io.h"
#include "base/loc/Localize.h"
#include "base/os/AppInfo.h"
#include "base/os/AppLoop.h"
#include "base/os/SignalHandler.h"
#include "base/os/programPath.h"
#include "base/plat/Exception.h"
#include "base/plat/logging.h"

namespace {

/// While it lives, a signal that would end the program ends the loop instead: temporary files go with their writers.
class Interrupter final : private os::SignalHandler::Callback {
public:
  Interrupter() { setAll(true); }
  ~Interrupter() override { setAll(false); }
  Interrupter(const Interrupter&) = delete;
  Interrupter& operator=(const Interrupter&) = delete;

private:
  void signalled(int) override { os::AppLoop::quit(HelperFailed); }

  void setAll(bool enable) {
    for (const int sig : {SIGINT, SIGTERM, SIGHUP}) {
      os::SignalHandler::instance().setHandler(sig, this, enable);
    }
  }
};

std::unique_ptr<Command> makeCommand(const Options& options) {
  switch (options.command) {
    case CommandKind::Info:
      return std::make_unique<InfoCommand>();
    case CommandKind::List:
      return std::make_unique<ListCommand>(options.from, options.longFormat, options.repeat);
    case CommandKind::Get:
      return std::make_unique<GetCommand>(options.from, options.to, options.recursive);
    case CommandKind::Put:
      return std::make_unique<PutCommand>(options.root, options.from, options.to, options.recursive);
    case CommandKind::MakeFolder:
    case CommandKind::Remove:
    case CommandKind::Move:
      break;
  }
  return std::make_unique<ActionCommand>(options.command, options.from, options.to);
}

std::string helperProgram(const Options& options) {
  return options.helper.empty() ? joinLocalPath(os::programDir().get(), "kelfopshelper") : options.helper;
}

std::vector<std::string> helperArguments(const Options& options) {
  std::vector<std::string> arguments = {"FopsDir=" + absoluteLocalPath(options.root)};
  arguments.insert(arguments.end(), options.settings.begin(), options.settings.end());
  return arguments;
}

/// Runs one session over the helper's link; returns the exit status.
int serve(const Options& options, HelperProcess& helper, HelperStats& stats) {
  os::AppLoop loop;
  const Interrupter interrupter;
  const std::unique_ptr<Command> command = makeCommand(options);
  PeerSession session(helper.takeLink(), *command, options.clientVersion, options.logLevel);
  if (options.stats) {
    session.onProgress([&] { stats.sessionStarted(helper.pid()); }, [&] { stats.workDone(helper.pid()); });
  }
  const HelperWatch watch(helper, [&] { session.helperEnded(); });
  return loop.run();
}

int run(const Options& options) {
  signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error of that file
  signal(SIGCHLD, SIG_DFL);  // ignored, as it may be on arrival, it would hide how the helper ended
  os::AppInfo::setApp("kelfops");
  loc::Localize::instance().setSearchDirs({});
  plat::logInit("*:stderr:0", nullptr, nullptr, false);
  HelperStats stats;
  HelperProcess helper(helperProgram(options), options.link, helperArguments(options));
  int status = HelperFailed;
  try {
    status = serve(options, helper, stats);
  } catch (const plat::Exception& failure) {
    std::fprintf(stderr, "kelfops: %s\n", plat::ExceptionText(failure).get());
  }
  const std::string end = helper.bringToEnd();
  if (status == HelperFailed || end.rfind("signal", 0) == 0) {
    status = HelperFailed;
    std::fprintf(stderr, "kelfops: the helper ended with %s\n", end.c_str());
  }
  if (options.stats) {
    std::fprintf(stderr, "%s\n", stats.text(helper.processorTimeUs()).c_str());
  }
  return status;
}

/// Whether all that was printed has been taken.
bool outputIsWhole() {
  return std::fflush(stdout) == 0 && !std::ferror(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  int status = Done;
  const std::optional<Options> options = parseCommandLine(argc, argv, status);
  if (!options) {
    return status;
  }
  try {
    status = run(*options);
  } catch (const plat::Exception& failure) {
    std::fprintf(stderr, "kelfops: %s\n", plat::ExceptionText(failure).get());
    return HelperFailed;
  } catch (const std::exception& failure) {  // out of memory: the helper still ends, and temporary files go
    std::fprintf(stderr, "kelfops: %s\n", failure.what());
    return HelperFailed;
  }
  if (!outputIsWhole()) {
    std::perror("kelfops: standard output");
    return HelperFailed;
  }
  return status;
}
