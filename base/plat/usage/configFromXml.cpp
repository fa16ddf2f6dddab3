// Reading the XML description of a configuration.
#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/loc/Localize.h"
#include "base/loc/translate.h"
#include "base/plat/Exception.h"
#include "base/plat/Lock.h"
#include "base/plat/config/BinaryParameter.h"
#include "base/plat/config/BoolParameter.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/config/EnumParameter.h"
#include "base/plat/config/S64Parameter.h"
#include "base/plat/config/StringParameter.h"
#include "base/plat/numbers.h"
#include "base/plat/usage/configXml.h"
#include "base/xml/Document.h"

namespace plat {

namespace {

using xml::Document;

[[noreturn]] void incompatible() {
  throw Exception("Incompatible XML config");
}

const char* required(const Document::Element& element, const char* attribute) {
  const char* const value = element.attribute(attribute);
  if (value == nullptr) {
    incompatible();
  }
  return value;
}

int toNumber(const char* text) {
  std::int32_t number = 0;
  if (!tryParseS32(text, 10, number) || *text != '\0') {
    incompatible();
  }
  return number;
}

int numberOr(const Document::Element& element, const char* attribute, int fallback) {
  const char* const text = element.attribute(attribute);
  return text != nullptr ? toNumber(text) : fallback;
}

bool hasPlaceholder(const char* text) {
  for (const char* percent = std::strchr(text, '%'); percent != nullptr; percent = std::strchr(percent + 2, '%')) {
    if (percent[1] != '%') {
      return true;
    }
  }
  return false;
}

/// Whether the text of a key is one to be filled in. That is no description, and shown as one it could not be filled in
/// any more: a program that did would abort (see loc::translate).
bool takesArguments(const char* key) {
  loc::Localize& localize = loc::Localize::instance();
  const Lock lock(localize.lock());
  std::vector<std::string> locales = localize.locales();
  locales.emplace_back("en");  // has every key of ours, whatever string files make of it in other languages
  return std::any_of(locales.begin(), locales.end(), [&](const std::string& locale) {
    const loc::Localize::Table* const texts = localize.table(locale);
    const auto found = texts != nullptr ? texts->find(key) : loc::Localize::Table::const_iterator();
    return texts != nullptr && found != texts->end() && hasPlaceholder(found->second);
  });
}

/// What every parameter has; the texts live in the tree.
struct Head {
  const char* name;
  const char* description;
  const char* locDesc;
  bool advanced;
};

Head readHead(const Document::Element& element) {
  const char* const advanced = element.attribute("advanced");
  const Head head = {element.attribute("name"), element.attribute("description"), element.attribute("locDesc"),
                     advanced != nullptr && strCompareNoCase(advanced, "true") == 0};
  if (head.locDesc != nullptr) {
    if (takesArguments(head.locDesc)) {
      incompatible();
    }
    LOC_TR_AS(head.locDesc, "base/plat/configFromXml.cpp");  // a key that has no text is told to the log now, rather
                                                             // than when somebody asks for help
  }
  if (head.name == nullptr || (head.description == nullptr && head.locDesc == nullptr) ||
      element.childCount("value") == 0) {
    incompatible();
  }
  return head;
}

/// A parameter with a default and what its type has beside it. A key goes before a text, since it follows the locale.
template <class P, class Default, class... More>
std::unique_ptr<P> make(const Head& head, Configuration& configuration, const Default& value, More... more) {
  if (head.locDesc != nullptr) {
    return std::make_unique<P>(head.name, LocDesc(head.locDesc), value, head.advanced, &configuration, more...);
  }
  return std::make_unique<P>(head.name, head.description, value, head.advanced, &configuration, more...);
}

/// The names of a choice in the form that an EnumParameter observes.
struct OwnedNames {
  std::vector<std::string> texts;
  std::vector<const char*> pointers;
};

std::unique_ptr<ConfigParameter> makeEnum(const Head& head, Configuration& configuration,
                                          const Document::Element& element) {
  const auto names = std::make_shared<OwnedNames>();
  for (std::uint32_t index = 0; const Document::Element option = element.nextChild("opt", index);) {
    names->texts.emplace_back(required(option, "data"));
  }
  for (const std::string& text : names->texts) {
    names->pointers.push_back(text.c_str());
  }
  names->pointers.push_back(nullptr);
  auto parameter = make<EnumParameter>(head, configuration, nullptr, names->pointers.data());
  parameter->keepNames(names);
  return parameter;
}

std::unique_ptr<ConfigParameter> makeParameter(const Head& head, Configuration& configuration,
                                               const Document::Element& element) {
  const auto is = [type = element.name()](const char* name) { return strCompareNoCase(type, name) == 0; };
  if (is("string")) {
    return make<StringParameter>(head, configuration, "");
  }
  if (is("bool")) {
    return make<BoolParameter>(head, configuration, false);
  }
  if (is("int")) {
    return make<IntParameter>(head, configuration, 0, numberOr(element, "min", INT_MIN),
                              numberOr(element, "max", INT_MAX));
  }
  if (is("enum")) {
    return makeEnum(head, configuration, element);
  }
  if (is("binary")) {
    return make<BinaryParameter>(head, configuration, MBuf<unsigned char>());
  }
  if (is("s64")) {
    return make<S64Parameter>(head, configuration, "");
  }
  incompatible();
}

void setValues(ConfigParameter& parameter, const Document::Element& element) {
  for (std::uint32_t index = 0; const Document::Element value = element.nextChild("value", index);) {
    const char* const data = required(value, "data");
    parameter.setParam(data, toNumber(required(value, "priority")));
  }
}

}  // namespace

void configFromXml(Configuration& configuration, const char* text, const ConfigXmlFilter& filter) {
  configuration.deleteOwned();
  Document document;
  if (const int error = document.parse(text != nullptr ? text : "", "config")) {
    throw Exception(Formatted, "XML error %i:%i %s", document.errorLine(), document.errorColumn(),
                    Document::errorMessage(error));
  }
  for (std::uint32_t index = 0; const Document::Element element = document.root().nextChild(nullptr, index);) {
    const Head head = readHead(element);
    if (filter && !filter(head.name, element.name(), head.advanced)) {
      continue;
    }
    ConfigParameter& parameter = configuration.own(makeParameter(head, configuration, element));
    parameter.addTags(element.attribute("flags"));
    // What it observes so far lives in the tree, which goes at the end.
    parameter.ownStrings();
    setValues(parameter, element);
  }
}

}  // namespace plat
