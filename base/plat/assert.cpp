#include "base/plat/assert.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "base/plat/LogSrc.h"
#include "base/plat/stackTrace.h"

namespace plat {

namespace {

/// Made at the first use, since an assertion may fail while other sources are still being initialised; and by the
/// reference below in any case, so that it can be addressed from the start. Never destroyed: destructors fail too.
LogSrc& assertionLog() {
  static LogSrc& log = *new LogSrc("Assertion");
  return log;
}

[[maybe_unused]] const LogSrc& registered = assertionLog();

std::atomic_flag failing;  // also two threads may fail at once
void (*flushHook)() = nullptr;

void report(const AssertionFail& failure) {
  LogSrc& log = assertionLog();
  log.error("%s", failure.message);
  for (const std::string& line : stackTrace()) {
    log.error("stacktrace: %s", line.c_str());
  }
  if (flushHook != nullptr) {
    flushHook();
  }
}

}  // namespace

void throwAssertionFail(const char* expression, const char* file, int line) {
  throw AssertionFail(expression, file, line);
}

void assertFailed(const AssertionFail& failure) noexcept {
  if (failing.test_and_set()) {
    std::abort();
  }
  std::fprintf(stderr, "%s\n", failure.message);
  std::fflush(stderr);
  try {
    report(failure);
  } catch (...) {  // the end is the same with and without the report
  }
  std::abort();
}

void setAssertFlushHook(void (*flush)()) noexcept {
  flushHook = flush;
}

void warnException(const Exception& exception) noexcept {
  try {
    assertionLog().error("Warning: %s", exception.message);
  } catch (...) {  // nobody is left to tell
  }
}

}  // namespace plat
