#pragma once

#include "base/plat/Exception.h"

namespace plat {

/// A promise inside the program was broken. Thrown by PLAT_REQUIRE, or handed to assertFailed by PLAT_ASSERT.
/// Type "AssertionFail", message "Assertion '<expression>' failed at <file>:<line>".
class AssertionFail : public Exception {
public:
  /// @param sourceFile any path of a source file; kept from "base/", "libs/" or "apps/" on, without its extension.
  AssertionFail(const char* expressionText, const char* sourceFile, int lineNumber) noexcept;
  /// The same, with ": " and a formatted detail behind the message.
  AssertionFail(const char* expressionText, const char* sourceFile, int lineNumber, FormattedTag, const char* fmt,
                ...) noexcept __attribute__((format(printf, 6, 7)));

  char expression[128] = {};  ///< the source text of the condition, cut if longer
  char file[64] = {};         ///< such as "base/plat/Configuration"
  int line = 0;

private:
  void describe(const char* expressionText, const char* sourceFile) noexcept;
};

}  // namespace plat
