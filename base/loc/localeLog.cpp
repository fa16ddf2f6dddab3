#include "base/loc/localeLog.h"

#include "base/plat/NeverDestroyed.h"
#include "base/plat/log/LogSrc.h"

namespace loc {

plat::LogSrc& localeLog() {
  static plat::NeverDestroyed<plat::LogSrc> source("Localize");  // the log may be used until the very end
  return *source;
}

namespace {
/// Listed with the other sources even if nothing is ever translated.
[[maybe_unused]] plat::LogSrc& registered = localeLog();
}  // namespace

}  // namespace loc
