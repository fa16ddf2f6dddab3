#include "base/plat/Exception.h"

#include "base/plat/fixedText.h"

namespace plat {

Exception::Exception(const char* text, const char* typeWord) noexcept {
  strAppend(message, sizeof message, text);
  strAppend(type, sizeof type, typeWord);
}

Exception::Exception(FormattedTag, const char* fmt, ...) noexcept {
  std::va_list args;
  va_start(args, fmt);
  appendFormatV(fmt, args);
  va_end(args);
}

Exception::~Exception() = default;

void Exception::setType(const char* word) noexcept {
  strCopy(type, sizeof type, word);
}

void Exception::clear() noexcept {
  message[0] = '\0';
  type[0] = '\0';
}

void Exception::appendFormatV(const char* fmt, std::va_list args) noexcept {
  strFormatAppendV(message, sizeof message, fmt, args);
}

const char* formatException(char (&buffer)[256], const Exception& exception, const char* fallback) noexcept {
  buffer[0] = '\0';
  if (exception.type[0] != '\0') {
    strFormatAppend(buffer, sizeof buffer, "[%s] ", exception.type);
  }
  strAppend(buffer, sizeof buffer, exception.message[0] != '\0' ? exception.message : fallback);
  return buffer;
}

}  // namespace plat
