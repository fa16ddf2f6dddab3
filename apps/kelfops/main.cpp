#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <signal.h>

#include "apps/kelfops/ActionCommand.h"
#include "apps/kelfops/GetCommand.h"
#include "apps/kelfops/HelperProcess.h"
#include "apps/kelfops/HelperStats.h"
#include "apps/kelfops/HelperWatch.h"
#include "apps/kelfops/InfoCommand.h"
#include "apps/kelfops/Interrupter.h"
#include "apps/kelfops/ListCommand.h"
#include "apps/kelfops/PeerSession.h"
#include "apps/kelfops/PutCommand.h"
#include "apps/kelfops/commandLine.h"
#include "apps/kelfops/localPath.h"
#include "base/io/Io.h"
#include "base/loc/Localize.h"
#include "base/os/AppLoop.h"
#include "base/os/info/AppInfo.h"
#include "base/os/info/programPath.h"
#include "base/plat/Exception.h"
#include "base/plat/logging/logging.h"

namespace {

/// Errors of the library that nothing else tells; what becomes of the link and of files is.
constexpr const char* Log = "Assertion:stderr:0,SocketUtil:stderr:0,LaunchProcess:stderr:0,ProcessMonitor:stderr:0";

/// What `mv` should call `from`: with a slash at its end, `to` is the folder to put it in, and "/" the top.
std::string moveTarget(const std::string& from, const std::string& to) {
  if (!to.ends_with('/')) {
    return to;
  }
  const std::string name = from.substr(from.rfind('/') + 1);
  const std::string folder = withoutTrailingSlashes(to);
  return folder == "/" ? name : joinLocalPath(folder, name);
}

std::unique_ptr<Command> makeCommand(const Options& options) {
  const std::string from = withoutTrailingSlashes(options.from);  // which completion leaves behind folders
  switch (options.command) {
    case CommandKind::Info:
      return std::make_unique<InfoCommand>();
    case CommandKind::List:
      return std::make_unique<ListCommand>(options.from, options.longFormat, options.repeat);
    case CommandKind::Get:
      return std::make_unique<GetCommand>(options.root, from, options.to, options.recursive);
    case CommandKind::Put:
      return std::make_unique<PutCommand>(options.root, options.from, options.to, options.recursive);
    case CommandKind::MakeFolder:
    case CommandKind::Remove:
    case CommandKind::Move:
      break;
  }
  return std::make_unique<ActionCommand>(options.command, from, moveTarget(from, options.to));
}

std::string helperProgram(const Options& options) {
  return options.helper.empty() ? joinLocalPath(os::programDir().get(), "kelfopshelper") : options.helper;
}

std::vector<std::string> helperArguments(const Options& options) {
  std::vector<std::string> arguments = {"FopsDir=" + absoluteLocalPath(options.root)};
  arguments.insert(arguments.end(), options.settings.begin(), options.settings.end());
  return arguments;
}

/// Runs the loop to its end; returns the exit status.
/// @throws plat::Exception "interrupted", also if what was seen of the signal is that the helper has gone
int runLoop(os::AppLoop& loop, Interrupter& interrupter) {
  int status = HelperFailed;
  std::exception_ptr failure;
  try {
    status = loop.run();
  } catch (const plat::Exception&) {
    failure = std::current_exception();
  }
  if (status == HelperFailed && interrupter.hasCome()) {
    throw plat::Exception("interrupted");
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
  return status;
}

/// Runs one session over the helper's link; returns the exit status.
/// @param answered set once the helper has answered
int serve(const Options& options, HelperProcess& helper, HelperStats& stats, bool& answered) {
  os::AppLoop loop;
  Interrupter interrupter(loop);
  const std::unique_ptr<Command> command = makeCommand(options);
  PeerSession session(helper.takeLink(), *command, options.clientVersion, options.logLevel);
  session.onProgress(
      [&] {
        answered = true;
        if (options.stats) {
          stats.sessionStarted(helper.pid());
        }
      },
      [&] {
        if (options.stats) {
          stats.workDone(helper.pid());
        }
      });
  // Made last and gone first: it tells the session.
  const HelperWatch watch(helper, [&] { session.helperEnded(); });
  return runLoop(loop, interrupter);
}

int run(const Options& options) {
  signal(SIGXFSZ, SIG_IGN);  // a file that grows too large is an error of that file
  signal(SIGCHLD, SIG_DFL);  // ignored, as it may be on arrival, it would hide how the helper ended
  os::AppInfo::setApp("kelfops");
  loc::Localize::instance().setSearchDirs({});
  plat::logInit(Log, nullptr, nullptr, false);
  HelperStats stats;
  HelperProcess helper(helperProgram(options), options.link, helperArguments(options));
  int status = HelperFailed;
  bool answered = false;
  try {
    status = serve(options, helper, stats, answered);
  } catch (const plat::Exception& failure) {
    std::fprintf(stderr, "kelfops: %s\n", plat::ExceptionText(failure).get());
  }
  // Behind a failure too: how the helper ended is part of what is told.
  const std::string end = helper.bringToEnd();
  if (status == HelperFailed || end.rfind("signal", 0) == 0) {
    status = HelperFailed;
    const bool complainedUnheard = !answered && options.link == LinkKind::Socket && end == "exit status 1";
    std::fprintf(stderr, "kelfops: the helper ended with %s%s\n", end.c_str(),
                 complainedUnheard ? " (--link fd shows its complaint)" : "");
  }
  if (options.stats) {
    std::fprintf(stderr, "%s\n", stats.text(helper.processorTimeUs()).c_str());
  }
  return status;
}

/// Whether all that was printed has been taken; complains if not.
bool outputIsWhole() {
  if (std::fflush(stdout) != 0) {
    std::perror("kelfops: standard output");
    return false;
  }
  if (std::ferror(stdout)) {  // some time ago, and the reason is gone
    std::fprintf(stderr, "kelfops: standard output: not all of it could be written\n");
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  int status = Done;
  const std::optional<Options> options = parseCommandLine(argc, argv, status);
  if (!options) {
    return status == Done && !outputIsWhole() ? HelperFailed : status;
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
  return outputIsWhole() ? status : HelperFailed;
}
