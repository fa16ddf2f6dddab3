// Configurations out of arbitrary descriptions: one that was taken in must go out, come in and go out the same.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/plat/Exception.h"
#include "base/plat/config/Configuration.h"
#include "base/plat/logging/logging.h"
#include "base/plat/usage/configXml.h"

namespace {

/// What the description made, also where it broke off.
void readInto(plat::Configuration& configuration, const char* text) {
  try {
    plat::configFromXml(configuration, text);
  } catch (const plat::Exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  plat::logStart();  // so that nothing is kept for later
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  plat::Configuration first("First");
  readInto(first, text.c_str());
  const plat::String once = plat::configToXml(first, true, true);
  plat::Configuration second("Second");
  readInto(second, once.get());
  const plat::String twice = plat::configToXml(second, true, true);
  plat::Configuration third("Third");
  readInto(third, twice.get());
  // The first way out may name what only the text could hold, as a name that is no valid UTF-8; the second is settled.
  if (plat::configToXml(third, true, true) != twice) {
    std::abort();
  }
  return 0;
}
