// Endpoints as somebody types them: refused, or taken apart into what gives the same parts again once put together.

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/io/endpoint.h"
#include "base/io/exceptions.h"
#include "base/plat/assert.h"
#include "base/plat/utf8.h"

namespace {

void checkSplit(const char* text, int basePort, int portRange) {
  plat::String host;
  int port = 0;
  try {
    io::splitHostPort(text, host, &port, basePort, portRange);
  } catch (const io::EndpointInvalid&) {
    return;
  }
  PLAT_ASSERT(!host.empty() && port >= 1 && port <= 65535);
  PLAT_ASSERT(!io::stripBrackets(host.get()).empty());
  plat::String hostAgain;
  int portAgain = 0;
  io::splitHostPort(io::formatEndpoint(host.get(), port, basePort, portRange).get(), hostAgain, &portAgain, basePort,
                    portRange);
  PLAT_ASSERT(hostAgain == host && portAgain == port);
}

void checkEscapes(const char* text) {
  const plat::String escaped = io::escapeEndpoint(text);
  PLAT_ASSERT(io::unescapeEndpoint(escaped.get(), false) == plat::utf8Repair(text));
  for (const bool plusIsSpace : {false, true}) {
    try {
      PLAT_ASSERT(plat::isValidUtf8(io::unescapeEndpoint(text, plusIsSpace).get()));
    } catch (const io::EndpointInvalid&) {
      // a percent sign that begins no escape
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  checkSplit(text.c_str(), 5900, 100);
  checkSplit(text.c_str(), 1000, 0);
  checkSplit(text.c_str(), -1, -1);
  checkEscapes(text.c_str());
  return 0;
}
