#include "base/io/EndpointInvalid.h"

#include "base/loc/translate.h"

namespace io {

EndpointInvalid::EndpointInvalid(const char* key)
    : plat::Exception(loc::translate(key, __FILE__, __LINE__, false), "EndpointInvalid") {}

}  // namespace io
