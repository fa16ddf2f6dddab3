#pragma once

#include "base/plat/String.h"

namespace io {

/// Endpoints: network addresses as the user writes them. A host alone, "host:n" or "host::port", the host in square
/// brackets where it holds colons (IPv6). One colon with a small number means an offset from a base port, two colons
/// the port itself. An empty host stands for "localhost".

/// Takes an endpoint apart.
/// @param host gets the host, with its brackets if it has them.
/// @param port gets the port, 1 to 65535; null means that the text must not name one.
/// @param defaultPort the port without a number in the text, and the base of offsets; negative for none.
/// @param portRange numbers below this, after one colon, are offsets from `defaultPort`.
/// @throws EndpointInvalid; `host` may then be cleared, `port` is untouched
void splitHostPort(const char* text, plat::String& host, int* port, int defaultPort, int portRange);

/// Puts an endpoint together: nothing behind the host for `basePort` itself, ":n" for a port within `portRange` of it,
/// "::port" for any other. With `portRange` 0, ":port".
plat::String formatEndpoint(const char* host, int port, int basePort, int portRange);

/// "[host]" for a host with colons that has no brackets yet; others stay.
plat::String bracketHost(const char* host);

/// The host without brackets. @throws EndpointInvalid if only the opening one is there
plat::String stripBrackets(const char* host);

/// Percent-encodes what is neither a letter, a digit, a byte from 128 up, a blank, nor one of !$&'()*+,-.;=_~
plat::String escapeEndpoint(const char* text);

/// Percent-decodes, and repairs the result as UTF-8. @param plusIsSpace "+" stands for a blank.
/// @throws EndpointInvalid for a percent sign without two hexadecimal digits
plat::String unescapeEndpoint(const char* text, bool plusIsSpace);

}  // namespace io
