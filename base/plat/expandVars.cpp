#include "base/plat/expandVars.h"

#include <cstdlib>
#include <cstring>

#include "base/plat/Exception.h"

namespace plat {

namespace {

bool isNameChar(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

/// Takes the name of a variable from behind its dollar sign and moves the cursor behind it; "" if there is none.
std::string takeName(const char*& cursor) {
  if (*cursor == '{') {
    const char* const begin = cursor + 1;
    const char* const end = begin + std::strcspn(begin, "}");
    cursor = *end != '\0' ? end + 1 : end;
    return {begin, end};
  }
  const char* const begin = cursor;
  while (isNameChar(*cursor)) {
    ++cursor;
  }
  return {begin, cursor};
}

const char* findValue(const std::string& name, const std::map<std::string, std::string>* variables,
                      bool useEnvironment) {
  if (variables != nullptr) {
    const auto found = variables->find(name);
    if (found != variables->end()) {
      return found->second.c_str();
    }
  }
  return useEnvironment ? std::getenv(name.c_str()) : nullptr;
}

}  // namespace

String expandVars(const char* text, const std::map<std::string, std::string>* variables, bool failIfUnknown,
                  bool useEnvironment) {
  if (text == nullptr) {
    return nullptr;
  }
  std::string out;
  while (*text != '\0') {
    const std::size_t plain = std::strcspn(text, "$");
    out.append(text, plain);
    text += plain;
    if (*text == '\0') {
      break;
    }
    ++text;
    if (*text == '$') {
      out += *text++;
      continue;
    }
    const std::string name = takeName(text);
    if (name.empty()) {
      out += '$';
      continue;
    }
    const char* const value = findValue(name, variables, useEnvironment);
    if (value == nullptr && failIfUnknown) {
      throw Exception(Formatted, "unknown environment variable: %s", name.c_str());
    }
    out += value != nullptr ? value : "";
  }
  return String(out);
}

}  // namespace plat
