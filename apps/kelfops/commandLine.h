#pragma once

#include <optional>

#include "apps/kelfops/Options.h"

/// Parses the command line. Help goes to standard output, complaints about wrong usage to standard error.
/// @param exitStatus set when there is nothing to run: 0 after help, 2 after wrong usage.
/// @return nothing if the program should end with `exitStatus`.
std::optional<Options> parseCommandLine(int argc, char** argv, int& exitStatus);
