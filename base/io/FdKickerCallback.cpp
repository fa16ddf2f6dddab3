#include "base/io/FdKickerCallback.h"

namespace io {

FdKickerCallback::~FdKickerCallback() = default;

}  // namespace io
