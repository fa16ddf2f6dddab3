#include "base/io/endpoint.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/io/exceptions.h"
#include "base/plat/hex.h"
#include "base/plat/numbers.h"
#include "base/plat/utf8.h"

namespace io {

namespace {

constexpr int MaxPort = 65535;

bool isDigit(char c) noexcept {
  return c >= '0' && c <= '9';
}

bool isLetter(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Where the host ends: past the closing bracket, or at the first colon or the end.
const char* findHostEnd(const char* text) {
  if (*text != '[') {
    return text + std::strcspn(text, ":");
  }
  const char* const close = std::strchr(text, ']');
  if (!close) {
    throw EndpointInvalid("io_error_endpoint_bracket");
  }
  if (close == text + 1) {
    throw EndpointInvalid("io_error_endpoint_empty");
  }
  return close + 1;
}

/// The number that is all of `text`.
int parsePortNumber(const char* text) {
  std::int32_t number = 0;
  if (!isDigit(*text) || !plat::tryParseS32(text, 10, number) || *text != '\0') {
    throw EndpointInvalid("io_error_endpoint_badport");
  }
  return number;
}

/// How many colons lead from the host to the number: 0 to 2.
std::size_t countColons(const char* rest) noexcept {
  return rest[0] != ':' ? 0 : rest[1] != ':' ? 1 : 2;
}

/// The port that `rest` (empty, or from its first colon on) stands for.
int parsePort(const char* rest, int defaultPort, int portRange) {
  const std::size_t colons = countColons(rest);
  int port = defaultPort;
  if (rest[colons] != '\0') {
    port = parsePortNumber(rest + colons);
    if (colons == 1 && defaultPort >= 0 && port < portRange) {
      // The sum of two numbers that are out of range could leave an int; what is not in range afterwards is refused
      // below.
      port = port <= MaxPort && defaultPort <= MaxPort ? defaultPort + port : MaxPort + 1;
    }
  }
  if (port < 1 || port > MaxPort) {
    throw EndpointInvalid("io_error_endpoint_badport");
  }
  return port;
}

plat::String parseHost(const char* text, const char* hostEnd) {
  if (hostEnd == text) {
    return "localhost";
  }
  const std::string_view host(text, static_cast<std::size_t>(hostEnd - text));
  const bool bracketed = host.front() == '[';
  const std::string_view inside = bracketed ? host.substr(1, host.size() - 2) : host;
  if (inside.find_first_of("[]") != std::string_view::npos) {
    throw EndpointInvalid("io_error_endpoint_general");
  }
  return plat::String(host);
}

/// @throws plat::Exception "Bad percent encoding"
std::string percentDecode(const char* text, bool plusIsSpace) {
  std::string decoded;
  for (const char* c = text; *c; ++c) {
    if (*c == '%') {
      std::uint8_t byte = 0;
      if (!plat::hexToBin(c + 1, 1, &byte)) {
        throw plat::Exception("Bad percent encoding");
      }
      decoded.push_back(static_cast<char>(byte));
      c += 2;
    } else {
      decoded.push_back(*c == '+' && plusIsSpace ? ' ' : *c);
    }
  }
  return decoded;
}

const char* orEmpty(const char* text) noexcept {
  return text ? text : "";
}

bool needsBrackets(std::string_view host) noexcept {
  return !host.starts_with('[') && host.find(':') != std::string_view::npos;
}

}  // namespace

void splitHostPort(const char* text, plat::String& host, int* port, int defaultPort, int portRange) {
  text = orEmpty(text);
  host = plat::String();
  if (!*text && defaultPort < 0) {
    throw EndpointInvalid("io_error_endpoint_empty");
  }
  const char* const rest = findHostEnd(text);
  if (*rest != '\0' && *rest != ':') {
    throw EndpointInvalid("io_error_endpoint_general");
  }
  if (!port) {
    if (rest[countColons(rest)] != '\0') {
      throw EndpointInvalid("io_error_endpoint_badport");
    }
    host = parseHost(text, rest);
    return;
  }
  // Both are parsed before either is stored, so that a failure leaves the port alone.
  const int decided = parsePort(rest, defaultPort, portRange);
  host = parseHost(text, rest);
  *port = decided;
}

plat::String formatEndpoint(const char* host, int port, int basePort, int portRange) {
  const std::string_view bare = orEmpty(host);
  const bool brackets = needsBrackets(bare);
  std::string text;
  text.reserve(bare.size() + sizeof "[]::-2147483648");
  text.append(brackets ? "[" : "").append(bare).append(brackets ? "]" : "");
  if (port != basePort) {
    const std::int64_t offset = static_cast<std::int64_t>(port) - basePort;
    const bool isOffset = offset >= 0 && offset < portRange;
    text.append(isOffset || portRange == 0 ? ":" : "::").append(std::to_string(isOffset ? offset : port));
  }
  return plat::String(text);
}

plat::String bracketHost(const char* host) {
  host = orEmpty(host);
  return needsBrackets(host) ? plat::String::format("[%s]", host) : plat::String(host);
}

plat::String stripBrackets(const char* host) {
  host = orEmpty(host);
  if (*host != '[') {
    return host;
  }
  const std::size_t length = std::strlen(host);
  if (host[length - 1] != ']') {
    throw EndpointInvalid("io_error_endpoint_bracket");
  }
  return plat::String(host + 1, length - 2);
}

plat::String escapeEndpoint(const char* text) {
  std::string escaped;
  for (const char* c = orEmpty(text); *c; ++c) {
    const auto byte = static_cast<unsigned char>(*c);
    if (byte >= 128 || isLetter(*c) || isDigit(*c) || std::strchr("!$&'()*+,-.;=_~ ", *c)) {
      escaped.push_back(*c);
    } else {
      constexpr char Digits[] = "0123456789ABCDEF";
      escaped.append({'%', Digits[byte >> 4], Digits[byte & 15]});
    }
  }
  return plat::String(escaped);
}

plat::String unescapeEndpoint(const char* text, bool plusIsSpace) {
  try {
    const std::string decoded = percentDecode(orEmpty(text), plusIsSpace);
    return plat::utf8Repair(decoded.c_str());
  } catch (const plat::Exception&) {
    throw EndpointInvalid("io_error_endpoint_badescape");
  }
}

}  // namespace io
