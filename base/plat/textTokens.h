#pragma once

#include <set>
#include <string>

namespace plat {

// Tokens of a text, cut in place: separators are overwritten by terminators, so work on a copy. `cursor` starts at
// the text and is null once the text is used up. Each call answers the next token, or null when there is none.
// With `skipEmpty` leading and repeated separators are swallowed and no empty token appears.

char* strToken(char*& cursor, char separator, bool skipEmpty) noexcept;
/// Separated by any of `characters`. `foundChar`, if given, receives the one that ended the token, 0 at the text's end.
char* strTokenAny(char*& cursor, const char* characters, char* foundChar, bool skipEmpty) noexcept;
/// Separated by a text; a null or empty separator is never found.
char* strTokenText(char*& cursor, const char* separator, bool skipEmpty) noexcept;

/// Adds every piece of `text` between separators to `out`, empty ones included; null adds nothing.
void strSplitSet(const char* text, std::set<std::string>& out, char separator);

}  // namespace plat
