#pragma once

namespace os {

/// The front check of every program that a root parent may start as "-setuidhelper <uid> <program> [args...]".
///
/// Returns at once unless argv[1] is "-setuidhelper". Changing to the user is not built yet: a complete command line
/// is refused rather than run with the parent's rights.
/// @throws plat::Exception "setuidhelper: missing argument" if the uid or the program is missing, and
///   "setuidhelper: not supported" otherwise.
void setuidHelperCheck(char** argv);

}  // namespace os
