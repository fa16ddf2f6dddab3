#include "base/plat/logging/logging.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include <unistd.h>

#include "base/os/info/AppInfo.h"
#include "base/plat/NeverDestroyed.h"
#include "base/plat/String.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/log/LogDestMem.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/logging/LogDestFile.h"
#include "base/plat/logging/LogDestFileMgr.h"
#include "base/plat/logging/logParameters.h"
#include "base/plat/numbers.h"
#include "base/plat/strings.h"

namespace plat {

namespace {

/// What counts in place of the parameter's value; null to let that count.
String& overrideText() {
  static NeverDestroyed<String> text;
  return *text;
}

/// One element of the setting whose target exists.
struct Element {
  String log;
  LogDest* dest;
  int level;
};

/// Reads one element in place. False if it is to be skipped; with `report`, a mistake is told on stderr.
bool readElement(char* text, bool report, Element& out) {
  const String original(text);
  char* const target = std::strchr(text, ':');
  char* const level = target ? std::strchr(target + 1, ':') : nullptr;
  const char* number = level ? level + 1 : nullptr;
  if (number == nullptr || !tryParseS32(number, 10, out.level) || *number != '\0' || out.level < 0) {
    if (report) {
      std::fprintf(stderr, "Failed to parse log param element: '%s'\n", original.get());
    }
    return false;
  }
  *target = '\0';
  *level = '\0';
  if (target[1] == '\0') {
    return false;
  }
  out.log = text;
  out.dest = LogDest::find(target + 1);
  if (out.dest == nullptr && report) {
    std::fprintf(stderr, "No LogDest found: '%s'\n", target + 1);
  }
  return out.dest != nullptr;
}

std::vector<Element> readSetting(bool report) {
  String text = overrideText().isNull() ? logParameter().getValueStr() : overrideText();
  std::vector<Element> elements;
  char* cursor = text.data();
  while (char* const token = strToken(cursor, ',', true)) {
    Element element;
    if (readElement(token, report, element)) {
      elements.push_back(std::move(element));
    }
  }
  return elements;
}

void routeElement(const Element& element) {
  for (LogSrc* source = LogSrc::first(); source != nullptr; source = source->next()) {
    if (wildcardMatch(element.log.get(), source->name(), false)) {
      source->setRoute(*element.dest, element.level);
    }
  }
}

/// Hands the stored lines to the destinations that are named for all sources.
void replayStored(const std::vector<Element>& elements) {
  int highest = -1;
  for (const Element& element : elements) {
    if (element.log == "*" && element.dest->isEnabled()) {
      highest = std::max(highest, element.level);
      LogDestMem::instance().replay(*element.dest, element.level);
    }
  }
  LogDestMem::instance().discard(highest);
}

LogDestFile& stderrDest() {
  static NeverDestroyed<LogDestFile> dest("stderr", stderr);
  return *dest;
}

}  // namespace

void logInit(const char* defaultLog, const char* defaultDir, const char* defaultFile, bool enableFile) {
  if (std::getenv("KEL_PROFILE_DIR") == nullptr) {
    setenv("KEL_PROFILE_DIR", expandVars("$HOME/.kel", nullptr, false, true).get(), 1);
  }
  if (defaultDir == nullptr) {
    defaultDir = geteuid() == 0 ? "/var/log" : "$KEL_PROFILE_DIR";
  }
  logDirParameter().setParam(defaultDir, PriorityDefault);
  const String ownFile = String::format("%s.log", os::AppInfo::app(true));
  logFileParameter().setParam(defaultFile ? defaultFile : ownFile.get(), PriorityDefault);
  // Both destinations ahead of the setting that names them.
  stderrDest();
  LogDestFileMgr::instance();
  if (enableFile) {
    LogDestFileMgr::setEnabled(true);
  }
  logParameter().setParam(defaultLog ? defaultLog : "*:stderr:10", PriorityDefault);
}

void logStart() {
  if (!LogSrc::startAll()) {
    return;
  }
  // Silently: logApply() has told of mistakes when it applied the setting.
  replayStored(readSetting(false));
  LogDestMem::instance().discard(INT_MAX);
}

void logApply() {
  for (LogSrc* source = LogSrc::first(); source != nullptr; source = source->next()) {
    source->clearRoutes();
  }
  const std::vector<Element> elements = readSetting(true);
  for (const Element& element : elements) {
    routeElement(element);
  }
  replayStored(elements);
  logUpdateLevels();
}

void logOverride(const char* text) {
  overrideText() = text;
  logApply();
}

}  // namespace plat
