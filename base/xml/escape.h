#pragma once

#include <string>

#include "base/plat/String.h"

namespace xml {

// Texts as attribute values. XML 1.0 has no way to write most control characters, not even as references, so these
// travel as noncharacters (U+FDD0 plus the character), which XML 1.0 admits and no text of ours can hold.

/// A copy to be put between double quotes: markup, tabs and line ends as references, control characters as above, and
/// each malformed byte as U+FFFD. Every valid text comes back as it was from Document::parse(). Null gives null.
[[nodiscard]] plat::String escapeAttribute(const char* text);

/// Appends an attribute value as a parser hands it out, with the control characters put back.
void appendUnescaped(std::string& out, const char* value);

}  // namespace xml
