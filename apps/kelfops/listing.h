#pragma once

#include <string>
#include <vector>

namespace fops {
struct DirEntry;
}

/// Prints a listing on standard output, one entry a line, in the order given.
/// @param longFormat with mode, size and local time ahead of the name.
/// Control characters in names are shown escaped on a terminal, and printed as they are for a program.
void printListing(const std::vector<fops::DirEntry>& list, bool longFormat);

/// One line of the long format, without the newline.
std::string longListingLine(const fops::DirEntry& entry);
