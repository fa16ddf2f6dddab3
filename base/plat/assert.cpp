#include "base/plat/assert.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/plat/stackTrace.h"

namespace plat {

namespace {

std::atomic_flag failing;  // also two threads may fail at once
AssertReporter reporter = nullptr;
void (*flushHook)() = nullptr;

void report(const AssertionFail& failure) {
  if (reporter != nullptr) {
    reporter(failure.message);
    for (const std::string& line : stackTrace()) {
      reporter(("stacktrace: " + line).c_str());
    }
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
  // On stderr first, which needs nothing of the rest: the log may be what has failed.
  std::fprintf(stderr, "%s\n", failure.message);
  std::fflush(stderr);
  try {
    report(failure);
  } catch (...) {  // the end is the same with and without the report
  }
  std::abort();
}

void setAssertReporter(AssertReporter newReporter) noexcept {
  reporter = newReporter;
}

void setAssertFlushHook(void (*flush)()) noexcept {
  flushHook = flush;
}

void warnException(const Exception& exception) noexcept {
  if (reporter == nullptr) {
    return;
  }
  try {
    reporter((std::string("Warning: ") + exception.message).c_str());
  } catch (...) {  // nobody is left to tell
  }
}

}  // namespace plat
