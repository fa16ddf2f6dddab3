// Endpoints as somebody types them: refused, or taken apart into what gives the same parts again once put together.

#include "base/io/endpoint.h"
#include "base/io/exceptions.h"
#include "fuzz/target.h"

namespace {

using fuzz::require;

void checkSplit(const char* text, int basePort, int portRange) {
  plat::String host;
  int port = 0;
  try {
    io::splitHostPort(text, host, &port, basePort, portRange);
  } catch (const io::EndpointInvalid&) {
    return;
  }
  require(!host.empty() && port >= 1 && port <= 65535);
  require(!io::stripBrackets(host.get()).empty());
  plat::String hostAgain;
  int portAgain = 0;
  io::splitHostPort(io::formatEndpoint(host.get(), port, basePort, portRange).get(), hostAgain, &portAgain, basePort,
                    portRange);
  require(hostAgain == host && portAgain == port);
}

void checkEscapes(const char* text) {
  const plat::String escaped = io::escapeEndpoint(text);
  require(io::unescapeEndpoint(escaped.get(), false) == plat::utf8Repair(text));
  for (const bool plusIsSpace : {false, true}) {
    try {
      require(plat::isValidUtf8(io::unescapeEndpoint(text, plusIsSpace).get()));
    } catch (const io::EndpointInvalid&) {
      // a percent sign that begins no escape
    }
  }
}

}  // namespace

void fuzz::run(std::string_view input) {
  const std::string text(input);
  checkSplit(text.c_str(), 5900, 100);
  checkSplit(text.c_str(), 1000, 0);
  checkSplit(text.c_str(), -1, -1);
  checkEscapes(text.c_str());
}
