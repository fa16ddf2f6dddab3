#include "apps/kelfops/commandLine.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <map>
#include <string>

#include "apps/kelfops/ExitStatus.h"
#include "libs/product/version.h"

namespace {

const std::map<std::string, LinkKind> LinkNames = {
    {"socket", LinkKind::Socket}, {"fd", LinkKind::Fd}, {"stdin", LinkKind::Stdin}};

/// "NAME=VALUE": anything else would reach the helper as another kind of argument.
std::string checkSetting(const std::string& text) {
  const std::size_t equals = text.find('=');
  return equals == std::string::npos || equals == 0 || text[0] == '-' ? "NAME=VALUE expected: " + text : "";
}

std::string checkNotEmpty(const std::string& text) {
  return text.empty() ? "a path expected" : "";
}

void addGlobalOptions(CLI::App& app, Options& options) {
  app.add_option("--root", options.root, "Folder to export; its top is the top of every PATH")
      ->check(checkNotEmpty)
      ->capture_default_str();
  app.add_option("--helper", options.helper, "The helper's program; by default the one beside this program");
  // Names are looked up without a fallback: the check has run by then.
  app.add_option_function<std::string>(
         "--link", [&options](const std::string& name) { options.link = LinkNames.at(name); },
         "How the helper is reached")
      ->check(CLI::IsMember({"socket", "fd", "stdin"}));
  app.add_option("--client-version", options.clientVersion, "Highest protocol version to offer")
      ->check(CLI::IsMember({3, 4}))
      ->capture_default_str();
  app.add_option("--log-level", options.logLevel,
                 "Show the helper's log up to this level: 0 errors, 30 status, 100 debug, 110 chatter")
      ->check(CLI::Range(0, INT_MAX))
      ->capture_default_str();
  // One value each time, or the option would take the command behind it for another setting.
  app.add_option("--set", options.settings, "Set a parameter of the helper: NAME=VALUE")
      ->check(checkSetting)
      ->allow_extra_args(false);
  app.add_flag("--stats", options.stats, "Report times and memory on standard error at the end");
}

void choose(CLI::App* command, Options& options, CommandKind kind) {
  command->callback([&options, kind] { options.command = kind; });
}

void addCommands(CLI::App& app, Options& options) {
  choose(app.add_subcommand("info", "Show what the helper says of itself"), options, CommandKind::Info);

  CLI::App* list = app.add_subcommand("ls", "List a folder");
  list->add_flag("-l", options.longFormat, "Show mode, size and time");
  // In no group, by which the help does not show it.
  list->add_option("--repeat", options.repeat, "Ask so many times and show the last answer")
      ->check(CLI::PositiveNumber)
      ->group("");
  list->add_option("PATH", options.from, "The folder; the top by default");
  choose(list, options, CommandKind::List);

  CLI::App* get = app.add_subcommand("get", "Download a file, or with -r a folder");
  get->add_flag("-r", options.recursive, "Download a folder with all that is in it");
  get->add_option("PATH", options.from, "What to download")->required();
  get->add_option("LOCAL", options.to, "Folder to put it in, or its new name; the current folder by default");
  choose(get, options, CommandKind::Get);

  CLI::App* put = app.add_subcommand("put", "Upload a file, or with -r a folder");
  put->add_flag("-r", options.recursive, "Upload a folder with all that is in it");
  put->add_option("LOCAL", options.from, "What to upload")->required()->check(checkNotEmpty);
  put->add_option("DIR", options.to, "Folder to put it in; the top by default");
  choose(put, options, CommandKind::Put);

  CLI::App* makeFolder = app.add_subcommand("mkdir", "Create a folder, under a free name if this one is taken");
  makeFolder->add_option("PATH", options.from, "The new folder")->required();
  choose(makeFolder, options, CommandKind::MakeFolder);

  CLI::App* remove =
      app.add_subcommand("rm", "Delete a file, or a folder with all that is in it; a link to a folder stays, emptied");
  remove->add_option("PATH", options.from, "What to delete")->required();
  choose(remove, options, CommandKind::Remove);

  CLI::App* move = app.add_subcommand("mv", "Rename or move a file or folder; a file of the new name is replaced");
  move->add_option("FROM", options.from, "Its path now")->required();
  move->add_option("TO", options.to, "Its new path, or with a slash at the end the folder to put it in")->required();
  choose(move, options, CommandKind::Move);
}

}  // namespace

std::optional<Options> parseCommandLine(int argc, char** argv, int& exitStatus) {
  Options options;
  CLI::App app("Launches the file operations helper on a folder and plays its remote peer.", "kelfops");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("kelfops ") + KelVersion);
  addGlobalOptions(app, options);
  addCommands(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // The library tells the kinds of wrong usage apart by codes of its own; scripts rely on ours.
    exitStatus = app.exit(error) == 0 ? 0 : WrongUsage;
    return std::nullopt;
  }
  return options;
}
