#pragma once

#include <map>
#include <string>

#include "base/plat/String.h"

namespace plat {

/// Replaces `$NAME` (letters, digits, `_`) and `${ANY TEXT}` (up to `}` or the text's end) by the value from
/// `variables` (may be null), or else from the environment if `useEnvironment`. `$$` and `${}` give one dollar sign;
/// a dollar sign before anything else stays. An unknown name becomes empty. Null gives null.
/// @throws Exception "unknown environment variable: %s" for an unknown name if `failIfUnknown`.
[[nodiscard]] String expandVars(const char* text, const std::map<std::string, std::string>* variables,
                                bool failIfUnknown, bool useEnvironment);

}  // namespace plat
