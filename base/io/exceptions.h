#pragma once

#include "base/plat/Exception.h"

namespace io {

/// An endpoint that cannot be understood. Its message is in the user's language.
class EndpointInvalid : public plat::Exception {
public:
  /// @param key of the message, one of the "io_error_endpoint_" texts.
  explicit EndpointInvalid(const char* key);
};

/// A failure of getaddrinfo or getnameinfo: "<call>: '<the resolver's text>' (<code>)".
class GetAddrInfoException : public plat::Exception {
public:
  /// @param code one of EAI_AGAIN, EAI_NONAME, ...
  GetAddrInfoException(const char* call, int code);

  /// The same for the user: a text in the user's language where there is one for the code, else the message.
  /// Lives as long as this object.
  const char* userText() const;

  int code;
};

}  // namespace io
