#pragma once

#include "base/plat/String.h"

namespace plat {

/// Breaks `text` at blanks so that its lines take at most `width` display columns; null gives null.
/// A line that was begun by a break is indented by `indent` blanks. Newlines in the text stay and are not followed by
/// an indent. Blanks at a break vanish, all others stay. A word that is wider than a line is not cut.
[[nodiscard]] String wrapWords(const char* text, int width, int indent);

}  // namespace plat
