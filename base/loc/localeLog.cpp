#include "base/loc/localeLog.h"

#include "base/plat/log/LogSrc.h"

namespace loc {

plat::LogSrc& localeLog() {
  static plat::LogSrc* const source = new plat::LogSrc("Localize");  // the log may be used until the very end
  return *source;
}

namespace {
// Listed with the other sources even if nothing is ever translated.
[[maybe_unused]] plat::LogSrc& registered = localeLog();
}  // namespace

}  // namespace loc
