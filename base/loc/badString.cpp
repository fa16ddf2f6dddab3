#include "base/loc/badString.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "base/loc/localeLog.h"
#include "base/plat/log/LogSrc.h"

namespace loc {

namespace {
std::atomic<bool> abortOnBadStrings = false;
}

void setAbortOnBadStrings(bool abort) noexcept {
  abortOnBadStrings = abort;
}

void reportBadString(const char* message) {
  localeLog().error("%s", message);
  if (abortOnBadStrings) {
    std::fprintf(stderr, "%s\nAborting\n", message);
    std::abort();
  }
}

}  // namespace loc
