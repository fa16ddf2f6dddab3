// The text of the parameter `Log` out of arbitrary bytes: whatever it holds, an element at its end still counts, and
// the next setting leaves nothing of it.

#include <cstdio>

#include "base/plat/log/LogDest.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/logging/logging.h"
#include "fuzz/target.h"

namespace {

class NullDest final : public plat::LogDest {
public:
  explicit NullDest(const char* name) : LogDest(name) {}
  void log(int, const char*, const char*) override {}
};

plat::LogSrc source("FuzzSource");
NullDest seeds("rec");  // the one that the seeds name
NullDest own("own");

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  stderr = std::fopen("/dev/null", "w");  // mistakes are told there; the fuzzer has its own way to descriptor 2
  plat::logStart();
  return 0;
}

void fuzz::run(std::string_view input) {
  const std::string setting = std::string(input).c_str();  // up to the first zero byte
  plat::logOverride(setting.c_str());
  const int level = source.level();
  require(level >= -1);
  plat::logOverride((setting + ",,fuzz*:OWN:2147483647").c_str());
  require(source.level() == INT32_MAX && source.enabled(INT32_MAX));
  plat::logOverride((setting + ",bad:own,*:nowhere:5,Fuzz:own:7").c_str());  // none of these counts for the source
  require(source.level() == level);
  plat::logOverride("");
  require(source.level() == -1 && !source.enabled(plat::LogError));
}
