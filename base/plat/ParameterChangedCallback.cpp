#include "base/plat/ParameterChangedCallback.h"

namespace plat {

ParameterChangedCallback::~ParameterChangedCallback() = default;

}  // namespace plat
