#pragma once

#include <string>
#include <vector>

namespace plat {

/// The callers of this function, innermost first, as text lines "%2d %s" of their number from 1 and what the system
/// knows of the frame. At most 62 frames are asked for, the first of which (this function) is left out.
[[nodiscard]] std::vector<std::string> stackTrace();

}  // namespace plat
