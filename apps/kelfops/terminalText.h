#pragma once

#include <cstdio>
#include <string>

/// A text that came from elsewhere, as it may be written to `stream`: on a terminal with its control characters
/// escaped, since they could say anything to the terminal; for a program as it is.
std::string terminalText(const char* text, std::FILE* stream);
