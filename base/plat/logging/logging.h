#pragma once

namespace plat {

// The log as a whole: which source reaches which destination, by the text of the parameter `Log`. On the main thread.
// That text is a list of `<log>:<target>:<level>` with commas between. `<log>` is the name of a source, in which `*`
// stands for any run of characters; `<target>` that of a destination, both without regard to case. The last element
// that names a source and a destination counts.

/// Makes the destinations `stderr` and `file` and gives the parameters their defaults. May be called again, to change
/// the defaults.
/// @param defaultLog null for "*:stderr:10".
/// @param defaultDir null for "$KEL_PROFILE_DIR", or "/var/log" as root. $-forms are expanded when a file is opened.
/// @param defaultFile null for the application's name with ".log".
/// @param enableFile whether lines may go to the file from now on; LogDestFileMgr::setEnabled() can do that later.
/// Sets KEL_PROFILE_DIR in the environment to "$HOME/.kel" unless it is there.
void logInit(const char* defaultLog, const char* defaultDir, const char* defaultFile, bool enableFile);

/// Ends the time in which lines without a destination are kept: from here on they are dropped, and the level tests
/// count. Called by the application loop; only the first call has an effect.
void logStart();

/// Applies the setting: routes, the stored lines for destinations that are named for `*`, levels. A mistake in an
/// element is told on stderr and leaves the others alone.
void logApply();
/// Applies `text` in place of the parameter's value until the next call; null gives the parameter its say back.
void logOverride(const char* text);

}  // namespace plat
