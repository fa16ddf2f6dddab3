#include "base/os/elevate.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "base/loc/format.h"
#include "base/loc/translate.h"
#include "base/os/commandWords.h"
#include "base/os/info/programPath.h"
#include "base/os/info/sysInfo.h"
#include "base/plat/Exception.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/file/file.h"
#include "base/plat/file/filePaths.h"

namespace os {

bool allowPkexec = true;

namespace {

using Words = std::vector<plat::String>;

plat::StringParameter elevateCmd(
    "ElevateCmd",
    "Command to run to obtain root privilege.  Must be an absolute path and will be followed by arguments specifying "
    "the command to be run.  For example \"/usr/bin/xterm -e sudo\"",
    "", true);

plat::BoolParameter elevateCmdSingleArg(
    "ElevateCmdSingleArg",
    "Whether the ElevateCmd parameter is followed by a single argument with shell quoting (true) or multiple arguments "
    "(false)",
    false, true);

/// A terminal and its options; `lastOption` says that the command follows.
struct Terminal {
  const char* program;
  const char* titleOption;
  const char* lastOption;
  const char* waitOption = nullptr;  ///< keeps the terminal from handing the command over to a running one
  bool waitOnUbuntuOnly = false;     ///< elsewhere that option is unknown
};

/// In order of preference. Of options that run a command, the one stands here that takes the rest of the line as
/// words: xfce4-terminal's -e, for one, would take a single text.
constexpr Terminal Terminals[] = {
    {"xterm", "-T", "-e"},
    {"lxterminal", "-t", "-e"},
    {"konsole", "--title", "-e", "--nofork"},
    {"xfce4-terminal", "-T", "-x"},
    {"foot", "-T", "-e"},
    {"gnome-terminal", "--title", "--", "--disable-factory", true},
};

/// What asks for the password inside the terminal.
struct Tool {
  Words words;
  bool singleArg;  ///< it hands its one argument to a shell
};

/// Words that go through a shell are quoted each, so that none is split or expanded there: they run as root.
void prepend(Words& args, const Words& front, bool singleArg) {
  if (singleArg) {
    args = {quoteForShell(args)};
  }
  args.insert(args.begin(), front.begin(), front.end());
}

/// pkexec reaches the dialog that asks for the password over the session's bus.
bool hasSessionBus() {
  const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  return address != nullptr && *address != '\0';
}

bool isUbuntu(const char* etc) {
  return ::strcasestr(distributionName(etc).orEmpty(), "Ubuntu") != nullptr;
}

/// sudo where there is a choice, but not in the Red Hat family, where a user is rarely set up for it.
Tool findTool(const char* etc) {
  const bool hasSu = !findExecutable("su", true).isNull();
  plat::String sudo = findExecutable("sudo", true);
  const bool useSu = hasSu && (sudo.isNull() || plat::fileExistsNoThrow(plat::fileJoin(etc, "redhat-release").get()));
  if (useSu) {
    // As a login, so that the command runs in root's environment and not in the user's (su(1)).
    return {{"su", "-", "root", "-c"}, true};
  }
  if (sudo.isNull()) {
    throw plat::Exception("Elevation not supported: no su or sudo found");
  }
  return {{std::move(sudo)}, false};
}

/// The words that open a window and run what follows them in it.
Words findTerminal(const plat::String& promptTitle, const char* etc) {
  for (const Terminal& terminal : Terminals) {
    plat::String program = findExecutable(terminal.program, true);
    if (program.isNull()) {
      continue;
    }
    Words words = {std::move(program), terminal.titleOption, promptTitle};
    if (terminal.waitOption != nullptr && (!terminal.waitOnUbuntuOnly || isUbuntu(etc))) {
      words.emplace_back(terminal.waitOption);
    }
    words.emplace_back(terminal.lastOption);
    return words;
  }
  throw plat::Exception("Elevation not supported: no terminal found");
}

plat::String promptTitleFor(const char* title, const Tool& tool) {
  return title == nullptr ? plat::String("")
                          : loc::format(loc::translate("os_launchprocess_title_fmt", __FILE__, __LINE__, true),
                                        {title, tool.words.front().get()});
}

}  // namespace

void getElevateProg(std::vector<plat::String>& args, const char* title, const char* etc) {
  // What was configured goes before anything that could be found, and spares the search.
  const Words configured = splitCommand(elevateCmd.value());
  if (!configured.empty()) {
    prepend(args, configured, elevateCmdSingleArg.getValue());
    return;
  }
  if (allowPkexec && hasSessionBus()) {
    plat::String pkexec = findExecutable("pkexec", true);
    if (!pkexec.isNull()) {
      args.insert(args.begin(), std::move(pkexec));
      return;
    }
  }
  // Both ask in text, which needs a terminal: the program itself may have none.
  Tool tool = findTool(etc);
  Words front = findTerminal(promptTitleFor(title, tool), etc);
  front.insert(front.end(), std::make_move_iterator(tool.words.begin()), std::make_move_iterator(tool.words.end()));
  prepend(args, front, tool.singleArg);
}

}  // namespace os
