#include "base/plat/exceptions.h"

#include <cerrno>
#include <cstring>

#include "base/plat/assert.h"
#include "base/plat/fixedText.h"

namespace plat {

SystemException::SystemException(int errValue) noexcept : err(errValue) {
  strFormatAppend(type, sizeof type, "System-%d", err);
}

SystemException::SystemException(const char* text, int errValue) noexcept : SystemException(errValue) {
  strAppend(message, sizeof message, text);
  describeError();
}

void SystemException::describeError() noexcept {
  if (message[0] != '\0') {
    strAppend(message, sizeof message, ": ");
  }
  if (err == 0) {
    strAppend(message, sizeof message, "Success");
  } else if (strerrordesc_np(err) == nullptr) {
    // Asked first because strerror_r words an unknown number itself, with the number once more inside.
    strAppend(message, sizeof message, "Unknown error");
  } else {
    char buffer[sizeof message];
    // The GNU form, which answers the text and need not put it into the buffer; the other form answers an int.
    strAppend(message, sizeof message, strerror_r(err, buffer, sizeof buffer));
  }
  strFormatAppend(message, sizeof message, " (%d)", err);
}

SystemExceptionFmt::SystemExceptionFmt(const char* fmt, int errValue, ...) noexcept : SystemException(errValue) {
  std::va_list args;
  va_start(args, errValue);
  appendFormatV(fmt, args);
  va_end(args);
  describeError();
}

// errno is read for the base, ahead of the formatting, which may change it.
StdlibException::StdlibException(const char* fmt, ...) noexcept : SystemException(errno) {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
  describeError();
}

TimedOut::TimedOut(const char* text) noexcept : Exception(text, "TimedOut") {}

namespace {

constexpr char messagePrefix[] = "Protocol error: ";
constexpr char typeWord[] = "ProtocolError";

}  // namespace

ProtocolError::ProtocolError(const char* text, bool prefix) noexcept
    : Exception(prefix ? messagePrefix : "", typeWord) {
  strAppend(message, sizeof message, text);
}

ProtocolError::ProtocolError(FormattedTag, const char* fmt, ...) noexcept : Exception(messagePrefix, typeWord) {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
}

BadNum::BadNum(const char* text) noexcept : Exception(text) {}

namespace {

/// A hook, since parameters are built on the exceptions of this file and not the other way round.
bool (*asserts)() = nullptr;

}  // namespace

BadUtf8::BadUtf8(FormattedTag, const char* fmt, ...) noexcept {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
  if (asserts != nullptr && asserts()) {
    assertFailed(AssertionFail("!badUtf8Assert", "base/plat/BadUtf8", __LINE__, Formatted, "%s", message));
  }
}

void BadUtf8::setAsserts(bool (*newAsserts)()) noexcept {
  asserts = newAsserts;
}

}  // namespace plat
