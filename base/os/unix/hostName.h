#pragma once

#include "base/plat/String.h"

namespace os {

/// The host's name up to its first point; empty if there is none.
plat::String hostNameShort();

}  // namespace os
