#pragma once

#include "base/plat/Exception.h"

namespace plat {

/// A system call that failed: the message is "<text>: <system's description> (<err>)", the type "System-<err>".
/// Without a text the message starts with the description; an `err` of 0 is described as "Success".
class SystemException : public Exception {
public:
  SystemException(const char* text, int err) noexcept;

  int err;  ///< the errno value

protected:
  /// For derived classes, which format `message` themselves and then call describeError().
  explicit SystemException(int err) noexcept;
  /// Appends the description of `err` to the message.
  void describeError() noexcept;
};

}  // namespace plat
