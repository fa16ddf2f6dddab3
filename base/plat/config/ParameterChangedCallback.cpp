#include "base/plat/config/ParameterChangedCallback.h"

namespace plat {

ParameterChangedCallback::~ParameterChangedCallback() = default;

}  // namespace plat
