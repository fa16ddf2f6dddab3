// The usage text of a configuration, and the one text in it that a parameter gives.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/loc/translate.h"
#include "base/plat/DString.h"
#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/log/LogDest.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/textWrap.h"

namespace plat {

namespace {

constexpr const char* Label = "base/plat/configHelp.cpp";  // what reports of missing texts show

constexpr int HelpWidth = 79;
constexpr int HelpNameWidth = 14;

/// Characters of the last line of a text.
int lastLineLength(const char* text) {
  const char* const newline = std::strrchr(text, '\n');
  int count = 0;
  for (const char* c = newline ? newline + 1 : text; *c != '\0'; ++c) {
    count += (*c & 0xC0) != 0x80;  // all but continuation bytes
  }
  return count;
}

std::vector<const ConfigParameter*> listed(const Configuration& configuration, bool showAdvanced) {
  std::vector<const ConfigParameter*> parameters;
  for (Configuration::Iterator all(configuration, false); const ConfigParameter* parameter = all.next();) {
    if (!parameter->isHidden() && (showAdvanced || !parameter->isAdvanced())) {
      parameters.push_back(parameter);
    }
  }
  std::stable_sort(parameters.begin(), parameters.end(), [](const ConfigParameter* a, const ConfigParameter* b) {
    return strCompareNoCase(a->name(), b->name()) < 0;
  });
  return parameters;
}

/// Name and description, and behind them or on a line of its own the value in force.
String describe(const ConfigParameter& parameter, bool showDefaults, int width, int nameWidth) {
  const int indent = nameWidth + 5;
  const String head = String::format("  %-*s - %s", nameWidth, parameter.name(), parameter.getDescription());
  DString line(wrapWords(head.get(), width, indent).get());
  // A value that may be a secret is shown nowhere.
  if (dynamic_cast<const BinaryParameter*>(&parameter) != nullptr) {
    return line.takeString();
  }
  String note("");
  if (showDefaults) {
    note = String::format("(%s=%s)", LOC_TR_AS("plat_configuration_help_default", Label),
                          parameter.getValueStr().orEmpty());
  }
  if (lastLineLength(line.get()) + lastLineLength(note.get()) >= width) {
    line.appendFormat("%-*c%s", indent + 1, '\n', note.get());
  } else {
    line.appendFormat(" %s", note.get());
  }
  return wrapWords(line.get(), width, indent);
}

}  // namespace

const char* ConfigParameter::getDescription() const {
  return desc_ ? desc_ : LOC_TR_AS(locDesc_, "base/plat/ConfigParameter.cpp");
}

void Configuration::printHelp(bool showAdvanced, bool showDefaults) {
  std::printf("%s\n\n", wrapWords(LOC_TR_AS("plat_configuration_param_usage", Label), HelpWidth, 0).get());
  printParams(showAdvanced, showDefaults, stdout, HelpWidth, HelpNameWidth);
  if (showAdvanced) {
    std::printf("\n%s\n", LOC_TR_AS("plat_configuration_log_names_title", Label));
    logPrintSources(HelpWidth, stdout);
    std::printf("\n%s\n", LOC_TR_AS("plat_configuration_log_dests_title", Label));
    LogDest::printAll(stdout);
  }
}

void Configuration::printParams(bool showAdvanced, bool showDefaults, std::FILE* stream, int width,
                                int nameWidth) const {
  if (locDesc() != nullptr) {
    std::fprintf(stream, "%s:\n", LOC_TR_AS(locDesc(), Label));
  } else {
    std::fprintf(stream, "%s Parameters:\n", name());
  }
  for (const ConfigParameter* const parameter : listed(*this, showAdvanced)) {
    std::fprintf(stream, "%s\n", describe(*parameter, showDefaults, width, nameWidth).get());
  }
  for (const Configuration* const child : children()) {
    child->printParams(showAdvanced, showDefaults, stream, width, nameWidth);
  }
}

}  // namespace plat
