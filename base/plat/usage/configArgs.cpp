// Setting parameters from a command line.
#include <cstring>

#include "base/loc/format.h"
#include "base/loc/translate.h"
#include "base/plat/Exception.h"
#include "base/plat/config/ConfigParameter.h"
#include "base/plat/config/Configuration.h"

namespace plat {

namespace {

constexpr const char* Label = "base/plat/configArgs.cpp";  // what reports of missing texts show

bool asksForHelp(const char* arg) {
  for (const char* const word : {"-help", "--help", "-h", "/?"}) {
    if (strCompareNoCase(arg, word) == 0) {
      return true;
    }
  }
  return false;
}

int helpMode(const char* word) {
  if (strCompareNoCase(word, "all") == 0) {
    return 1;
  }
  return strCompareNoCase(word, "xml") == 0 ? 2 : 0;
}

}  // namespace

bool Configuration::setFromArg(const char* arg, int priority) {
  if (arg == nullptr) {
    return false;
  }
  const bool dashed = arg[0] == '-';
  const char* const name = arg + (dashed ? (arg[1] == '-' ? 2 : 1) : 0);
  const char* const equals = std::strchr(name, '=');
  if (equals != nullptr) {
    const String cut(name, static_cast<std::size_t>(equals - name));
    return set(cut.get(), equals + 1, priority);
  }
  return dashed && set(name, nullptr, priority);
}

bool Configuration::parseArg(char**& cursor) {
  const char* const arg = *cursor;
  if (arg == nullptr) {
    return false;
  }
  // In this order a switch never takes the next argument for its value: without one it is turned on. The other types
  // refuse to be set without, and only then is the next argument looked at.
  if (setFromArg(arg, PriorityPreference)) {
    cursor += 1;
    return true;
  }
  if (arg[0] == '-' && cursor[1] != nullptr && set(arg + 1, cursor[1], PriorityPreference)) {
    cursor += 2;
    return true;
  }
  return false;
}

bool Configuration::parseArgs(char**& cursor, HelpCallback helpCallback) {
  while (parseArg(cursor)) {
  }
  if (helpCallback == nullptr || *cursor == nullptr || !asksForHelp(*cursor)) {
    return true;
  }
  helpCallback(helpMode(cursor[1]), *this);
  return false;
}

void Configuration::parseArgsOrThrow(char**& cursor, HelpCallback helpCallback) {
  parseArgs(cursor, helpCallback);
  if (*cursor == nullptr) {
    return;
  }
  const String bad = loc::format(loc::translate("plat_bad_argument", Label, __LINE__, true), {*cursor});
  Exception failure(Formatted, "%s%s%s", bad.orEmpty(), helpCallback ? "  " : "",
                    helpCallback ? LOC_TR_AS("plat_run_with_help", Label) : "");
  failure.setType("BadCmdLineArg");
  throw failure;
}

}  // namespace plat
