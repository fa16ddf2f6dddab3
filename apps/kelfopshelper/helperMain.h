#pragma once

/// The application behind `main`: connects to the parent, serves it until the link closes or a signal arrives.
///
/// @param args the command line behind the program's name, null-terminated: the options and name of the link, then
///   configuration arguments.
/// @return the exit code: 0 after SIGINT or SIGTERM, 1 after a closed or failed link or if there was no link.
/// @throws plat::Exception for anything else that goes wrong during set-up.
int helperMain(char** args);
