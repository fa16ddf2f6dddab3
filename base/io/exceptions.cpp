#include "base/io/exceptions.h"

#include <netdb.h>

#include "base/loc/translate.h"

namespace io {

EndpointInvalid::EndpointInvalid(const char* key)
    : plat::Exception(LOC_TR_AS(key, "base/io/EndpointInvalid.cpp"), "EndpointInvalid") {}

namespace {

const char* textKey(int code) noexcept {
  switch (code) {
    case EAI_AGAIN:
      return "io_error_eai_again";
    case EAI_NONAME:
      return "io_error_eai_noname";
    case EAI_NODATA:
      return "io_error_eai_nodata";
    default:
      return nullptr;
  }
}

}  // namespace

GetAddrInfoException::GetAddrInfoException(const char* call, int errorCode)
    : plat::Exception(plat::Formatted, "%s: '%s' (%d)", call, ::gai_strerror(errorCode), errorCode), code(errorCode) {
  setType("GetAddrInfo");
}

const char* GetAddrInfoException::userText() const {
  const char* const key = textKey(code);
  return key ? LOC_TR_AS(key, "base/io/GetAddrInfoException.cpp") : message;
}

}  // namespace io
