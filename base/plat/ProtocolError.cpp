#include "base/plat/ProtocolError.h"

#include "base/plat/fixedText.h"

namespace plat {

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

}  // namespace plat
