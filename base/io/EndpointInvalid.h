#pragma once

#include "base/plat/Exception.h"

namespace io {

/// An endpoint that cannot be understood. Its message is in the user's language.
class EndpointInvalid : public plat::Exception {
public:
  /// @param key of the message, one of the "io_error_endpoint_" texts.
  explicit EndpointInvalid(const char* key);
};

}  // namespace io
