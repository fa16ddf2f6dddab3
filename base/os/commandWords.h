#pragma once

#include <vector>

#include "base/plat/String.h"

namespace os {

// Between a command as one text and a command as a list of words.

/// The words of a command as people write it into a setting: blanks, tabs and newlines separate; double quotes hold a
/// word together and may make an empty one; a backslash, within quotes or without, takes the next character as it is.
/// What is left open at the end, be it quote or backslash, counts as written; nothing is refused.
std::vector<plat::String> splitCommand(const char* text);

/// The words as one text from which a POSIX shell reads exactly them, whatever their bytes: each in single quotes,
/// one blank between. None gives the empty text.
plat::String quoteForShell(const std::vector<plat::String>& words);

}  // namespace os
