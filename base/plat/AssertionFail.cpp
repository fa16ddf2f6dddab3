#include "base/plat/AssertionFail.h"

#include <cstring>
#include <initializer_list>

#include "base/plat/fixedText.h"

namespace plat {

namespace {

/// Where the part of a source path begins that is the same on every machine that builds this.
const char* withinTree(const char* path) noexcept {
  const char* begin = path;
  for (const char* part = path; part != nullptr;) {
    for (const char* top : {"base/", "libs/", "apps/"}) {
      if (std::strncmp(part, top, std::strlen(top)) == 0) {
        begin = part;
      }
    }
    part = std::strchr(part, '/');
    if (part != nullptr) {
      ++part;
    }
  }
  return begin;
}

int lengthWithoutExtension(const char* path) noexcept {
  const char* const slash = std::strrchr(path, '/');
  const char* const dot = std::strrchr(slash != nullptr ? slash : path, '.');
  return static_cast<int>(dot != nullptr ? static_cast<std::size_t>(dot - path) : std::strlen(path));
}

}  // namespace

AssertionFail::AssertionFail(const char* expressionText, const char* sourceFile, int lineNumber) noexcept
    : Exception(nullptr, "AssertionFail"), line(lineNumber) {
  describe(expressionText, sourceFile);
}

AssertionFail::AssertionFail(const char* expressionText, const char* sourceFile, int lineNumber, FormattedTag,
                             const char* fmt, ...) noexcept
    : Exception(nullptr, "AssertionFail"), line(lineNumber) {
  describe(expressionText, sourceFile);
  strAppend(message, sizeof message, ": ");
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
}

void AssertionFail::describe(const char* expressionText, const char* sourceFile) noexcept {
  strAppend(expression, sizeof expression, expressionText);
  if (sourceFile != nullptr) {
    const char* const path = withinTree(sourceFile);
    strAppend(file, sizeof file, path, lengthWithoutExtension(path));
  }
  strFormatAppend(message, sizeof message, "Assertion '%s' failed at %s:%d", expression, file, line);
}

}  // namespace plat
