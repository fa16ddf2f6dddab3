#pragma once

#include "base/plat/Exception.h"

namespace plat {

/// The other side broke the rules of a protocol; the link it came on cannot be trusted any further.
/// Type "ProtocolError"; the message starts with "Protocol error: " unless that is switched off.
class ProtocolError : public Exception {
public:
  explicit ProtocolError(const char* text, bool prefix = true) noexcept;
  ProtocolError(FormattedTag, const char* fmt, ...) noexcept __attribute__((format(printf, 3, 4)));
};

}  // namespace plat
