#pragma once

#include <string>

/// Where the programs under test lie, and who runs them.
///
/// Run by root, the tests copy the programs to a private folder and change to an unprivileged account before anything
/// is launched: the helper takes root's home from the account database, and tests must not write there.
namespace environment {

/// Called once by main, before any test.
void setUp();
void tearDown();

std::string helper();
std::string kelfops();

}  // namespace environment
