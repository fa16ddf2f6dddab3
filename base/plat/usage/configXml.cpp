#include "base/plat/usage/configXml.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/plat/DString.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/EnumParameter.h"
#include "base/xml/escape.h"

namespace plat {

namespace {

std::vector<const ConfigParameter*> described(const Configuration& configuration, bool includeHidden,
                                              const ConfigXmlFilter& filter) {
  std::vector<const ConfigParameter*> parameters;
  for (Configuration::Iterator all(configuration, true); const ConfigParameter* parameter = all.next();) {
    if ((includeHidden || !parameter->isHidden()) &&
        (!filter || filter(parameter->name(), parameter->getTypeName(), parameter->isAdvanced()))) {
      parameters.push_back(parameter);
    }
  }
  // Of several with one name the first counts, and of what is read the last: so that it is the same one that counts
  // after reading, it goes out last.
  std::reverse(parameters.begin(), parameters.end());
  std::stable_sort(parameters.begin(), parameters.end(), [](const ConfigParameter* a, const ConfigParameter* b) {
    return strCompareNoCase(a->name(), b->name()) < 0;
  });
  return parameters;
}

/// The tags with commas between; the empty one, which comes first, shows as a leading comma.
std::string joinedTags(const ConfigParameter& parameter) {
  std::string joined;
  for (const std::string& tag : parameter.tags()) {
    joined.append(&tag == &*parameter.tags().begin() ? "" : ",").append(tag);
  }
  return joined;
}

void appendHead(std::string& out, const ConfigParameter& parameter, bool useLocDesc) {
  const bool asKey = useLocDesc && parameter.locDesc() != nullptr;
  const char* const description = asKey ? parameter.locDesc() : parameter.getDescription();
  out += String::format("<%-6s name=\"%s\"\n        %s=\"%s\"\n        advanced=\"%s\"", parameter.getTypeName(),
                        xml::escapeAttribute(parameter.name()).get(), asKey ? "locDesc" : "description",
                        xml::escapeAttribute(description).get(), parameter.isAdvanced() ? "true" : "false")
             .view();
  if (!parameter.tags().empty()) {
    out += String::format("\n        flags=\"%s\"", xml::escapeAttribute(joinedTags(parameter).c_str()).get()).view();
  }
  if (const auto* const number = dynamic_cast<const IntParameter*>(&parameter)) {
    out += String::format("\n        min=\"%i\"\n        max=\"%i\"", number->minValue(), number->maxValue()).view();
  }
  out += ">\n";
}

void appendBody(std::string& out, const ConfigParameter& parameter) {
  for (const auto& [priority, value] : parameter.getAllValues()) {
    out += String::format("    <value data=\"%s\" priority=\"%i\"/>\n", xml::escapeAttribute(value.get()).orEmpty(),
                          priority)
               .view();
  }
  if (const auto* const choice = dynamic_cast<const EnumParameter*>(&parameter)) {
    for (const char* const* name = choice->names(); *name != nullptr; ++name) {
      out += String::format("    <opt data=\"%s\"/>\n", xml::escapeAttribute(*name).get()).view();
    }
  }
  out += String::format("</%s>\n", parameter.getTypeName()).view();
}

}  // namespace

String configToXml(const Configuration& configuration, bool includeHidden, bool useLocDesc,
                   const ConfigXmlFilter& filter) {
  std::string out = "<?xml version=\"1.0\"?>\n<config>\n";
  for (const ConfigParameter* const parameter : described(configuration, includeHidden, filter)) {
    appendHead(out, *parameter, useLocDesc);
    appendBody(out, *parameter);
  }
  out += "</config>\n";
  return String(out);
}

}  // namespace plat
