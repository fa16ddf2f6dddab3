#pragma once

namespace plat {

/// What every program of the product does before its own code: it learns who it is, fixes its directories, and sets up
/// localisation and the log. Main thread, once.
///
/// @param argv0 the program as it was called.
/// @param appName the application's name; null takes it from the program's file.
/// @param displayKey translation key of the name for display, or null.
/// @param defaultLog the default of the parameter `Log`, or null for the library's own.
/// @param enableFileLog whether the log destination "file" computes its path.
/// @param loadConfig whether to load the configuration files, policy included; see qzutil::ConfigStoreFile.
/// @throws plat::Exception if the program's file cannot be found, a directory cannot be created or made private, or a
/// configuration file cannot be read.
void productInit(const char* argv0, const char* appName, const char* displayKey, const char* defaultLog,
                 bool enableFileLog, bool loadConfig);

}  // namespace plat
