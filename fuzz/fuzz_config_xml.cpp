// Configurations out of arbitrary descriptions: one that was taken in must go out, come in and go out the same.

#include "base/plat/config/Configuration.h"
#include "base/plat/logging/logging.h"
#include "base/plat/usage/configXml.h"
#include "fuzz/target.h"

namespace {

/// What the description makes, also where it breaks off, written out again.
plat::String takenIn(const char* configuration, const char* description) {
  plat::Configuration taken(configuration);
  try {
    plat::configFromXml(taken, description);
  } catch (const plat::Exception&) {
  }
  return plat::configToXml(taken, true, true);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  plat::logStart();  // so that nothing is kept for later
  return 0;
}

void fuzz::run(std::string_view input) {
  const plat::String once = takenIn("First", std::string(input).c_str());
  // The first way out may name what only the text could hold, as a name that is no valid UTF-8; the second is settled.
  const plat::String twice = takenIn("Second", once.get());
  require(takenIn("Third", twice.get()) == twice);
}
