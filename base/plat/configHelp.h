#pragma once

#include <cstdio>

namespace plat {

class Configuration;

// The usage text of a configuration. Configuration::printHelp and printParams are the way in.

/// @param showAdvanced parameters that only the extended help lists, and after them the log's sources and destinations.
/// @param showDefaults the value in force behind each description.
void printConfigHelp(const Configuration& configuration, bool showAdvanced, bool showDefaults);

/// @param width columns of a line. @param nameWidth columns for the names.
void printConfigParams(const Configuration& configuration, bool showAdvanced, bool showDefaults, std::FILE* stream,
                       int width, int nameWidth);

}  // namespace plat
