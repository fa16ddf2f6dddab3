#pragma once

#include <vector>

#include "base/plat/String.h"

namespace os {

/// Whether getElevateProg() may choose pkexec, which asks by a dialog of the session's own. True at start; a program
/// that knows better clears it before its first launch. Read without a lock.
extern bool allowPkexec;

/// Puts a privilege front end ahead of a command, so that it runs as root on behalf of a user who is not.
///
/// The first of these that there is: the command of the parameter `ElevateCmd`; pkexec, if the user's session has a
/// bus over which it can ask for the password; a terminal that runs su or sudo. All but `ElevateCmd` are looked up on
/// `PATH`. Nothing is run here, and nobody is asked anything yet.
/// @param args the command, its program first; rewritten in place, untouched on failure.
/// @param title the application's title, for the terminal's window; may be null.
/// @param etc where the files lie by which distributions are told apart.
/// @throws plat::Exception "Elevation not supported: no su or sudo found" or "Elevation not supported: no terminal
///   found"; also what findExecutable() raises over a bad `PATH`.
void getElevateProg(std::vector<plat::String>& args, const char* title, const char* etc = "/etc");

}  // namespace os
