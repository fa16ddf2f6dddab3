#include "base/plat/String.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/plat/DString.h"
#include "base/plat/alloc.h"

namespace plat {

namespace {

char* duplicate(const char* text, std::size_t length) noexcept {
  char* const copy = static_cast<char*>(allocOrDie(length + 1));
  // A view without data has a null pointer, which memcpy(3) must not be given even for no bytes.
  if (length > 0) {
    std::memcpy(copy, text, length);
  }
  copy[length] = '\0';
  return copy;
}

}  // namespace

String::String(const char* text) noexcept : text_(text != nullptr ? duplicate(text, std::strlen(text)) : nullptr) {}

String::String(const char* text, std::size_t length) noexcept
    : text_(text != nullptr ? duplicate(text, length) : nullptr) {}

String::String(std::string_view text) noexcept : text_(duplicate(text.data(), text.size())) {}

String::String(const String& other) noexcept : String(other.text_) {}

String::~String() {
  std::free(text_);
}

// All assignments copy first and let go of the old text last: what is assigned may be a part of it. A move onto itself
// keeps the text for the same reason, by way of the temporary.
String& String::operator=(const String& other) noexcept {
  if (this != &other) {
    String(other).swap(*this);
  }
  return *this;
}

String& String::operator=(String&& other) noexcept {
  String(std::move(other)).swap(*this);
  return *this;
}

String& String::operator=(const char* text) noexcept {
  String(text).swap(*this);
  return *this;
}

String& String::operator=(std::string_view text) noexcept {
  String(text).swap(*this);
  return *this;
}

String String::adopt(char* mallocBuffer) noexcept {
  String result;
  result.text_ = mallocBuffer;
  return result;
}

String String::format(const char* fmt, ...) noexcept {
  // Not null, so that a format which cannot be carried out gives the empty text.
  DString text("");
  std::va_list args;
  va_start(args, fmt);
  text.appendFormatV(fmt, args);
  va_end(args);
  return text.takeString();
}

std::size_t String::length() const noexcept {
  return text_ != nullptr ? std::strlen(text_) : 0;
}

int String::compare(const char* other) const noexcept {
  if (text_ == nullptr || other == nullptr) {
    return (text_ != nullptr) - (other != nullptr);
  }
  // By unsigned bytes, which for UTF-8 is the order of the code points, the same in every locale.
  return std::strcmp(text_, other);
}

}  // namespace plat
