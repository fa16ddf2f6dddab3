#pragma once

#include "base/plat/AssertionFail.h"

/// Two ways of insisting on a condition. PLAT_REQUIRE throws plat::AssertionFail, for code whose callers survive a
/// bug; PLAT_ASSERT ends the process through plat::assertFailed, for code that must not unwind. Both are always
/// compiled in. The _AS forms state the expression's text, the file and the line themselves, for messages that
/// readers of logs match and that must survive moves of the code.
#define PLAT_REQUIRE_AS(condition, text, file, line)    \
  do {                                                  \
    if (!(condition)) [[unlikely]] {                    \
      ::plat::throwAssertionFail((text), (file), line); \
    }                                                   \
  } while (false)
#define PLAT_REQUIRE(condition) PLAT_REQUIRE_AS(condition, #condition, __FILE__, __LINE__)

#define PLAT_ASSERT_AS(condition, text, file, line)                        \
  do {                                                                     \
    if (!(condition)) [[unlikely]] {                                       \
      ::plat::assertFailed(::plat::AssertionFail((text), (file), (line))); \
    }                                                                      \
  } while (false)
#define PLAT_ASSERT(condition) PLAT_ASSERT_AS(condition, #condition, __FILE__, __LINE__)

namespace plat {

/// What PLAT_REQUIRE does once its condition is false; out of line to keep the callers small.
[[noreturn, gnu::cold]] void throwAssertionFail(const char* expression, const char* file, int line);

/// Ends the process over a broken promise: the message goes to stderr and, with the stack, to the reporter; forwarded
/// log lines are flushed; then abort(). A second failure on the way aborts at once.
[[noreturn, gnu::cold]] void assertFailed(const AssertionFail& failure) noexcept;

/// Takes one line about a broken promise. May throw.
using AssertReporter = void (*)(const char* line);

/// Sets where broken promises are told of besides stderr. The log installs itself before main, with its source
/// "Assertion" at level 0; it stands above this file and cannot be called from here.
void setAssertReporter(AssertReporter reporter) noexcept;

/// Sets what assertFailed calls to get log lines off to the parent process before the end; null for nothing.
void setAssertFlushHook(void (*flush)()) noexcept;

/// Hands "Warning: <message>" to the reporter, which logs it. For handlers in clean-up paths, which can do no
/// more than mention a failure: whatever goes wrong in here is swallowed.
void warnException(const Exception& exception) noexcept;

}  // namespace plat
