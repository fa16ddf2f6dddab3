#pragma once

#include "base/plat/Exception.h"

namespace plat {

// The kinds of failure, apart from the root of all (Exception.h) and of a broken promise (AssertionFail.h).

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

/// A SystemException whose text is printf-formatted. It stands apart because the arguments follow `err`.
class SystemExceptionFmt : public SystemException {
public:
  SystemExceptionFmt(const char* fmt, int err, ...) noexcept __attribute__((format(printf, 2, 4)));
};

/// A SystemException for the call that has just failed: `err` is errno as it stands when the constructor starts.
/// Whatever computes the arguments must leave errno alone.
class StdlibException : public SystemException {
public:
  explicit StdlibException(const char* fmt, ...) noexcept __attribute__((format(printf, 2, 3)));
};

/// Something did not happen within its time. Type "TimedOut".
class TimedOut : public Exception {
public:
  explicit TimedOut(const char* text = "Timed out") noexcept;
};

/// The other side broke the rules of a protocol; the link it came on cannot be trusted any further.
/// Type "ProtocolError"; the message starts with "Protocol error: " unless that is switched off.
class ProtocolError : public Exception {
public:
  explicit ProtocolError(const char* text, bool prefix = true) noexcept;
  ProtocolError(FormattedTag, const char* fmt, ...) noexcept __attribute__((format(printf, 3, 4)));
};

/// A text is not the number that it should be. Thrown by the parsers in numbers.h; has no type word.
class BadNum : public Exception {
public:
  explicit BadNum(const char* text) noexcept;
};

/// A text that has to be UTF-8 is not. Has no type word.
/// With the parameter `_BadUtf8Assert` set, constructing one ends the process as a failed assertion does, with a
/// stack trace: for finding where such a text comes from.
class BadUtf8 : public Exception {
public:
  BadUtf8(FormattedTag, const char* fmt, ...) noexcept __attribute__((format(printf, 3, 4)));

  /// Sets what tells, at each construction, whether that ends the process; null for never. The parameter installs
  /// itself here before main.
  static void setAsserts(bool (*newAsserts)()) noexcept;
};

}  // namespace plat
