#pragma once

namespace os {

/// The front check of every program that a root parent may start as "-setuidhelper <uid> <program> [args...]".
///
/// Returns at once unless argv[1] is "-setuidhelper". Otherwise it does not return: the process becomes that user, with
/// his groups, environment, login and SELinux context and in his home directory (or in "/" if that can't be entered),
/// and executes the program in its place. Runs ahead of all start-up, on the only thread.
/// @param argv null-terminated. The uid is decimal; one below 0 is taken as signed, of 32 bits. The program is a path
///   and is not searched for.
/// @throws plat::Exception "setuidhelper: missing argument" or "setuidhelper: bad user id '%s'";
///   plat::SystemException if the account can't be found (see findAccount()), and "execv(%s)" if the program can't be
///   run: then the process is that user already. Once the change has begun, what fails in it ends the process (see
///   setSelinuxContext() and changeUser()).
void setuidHelperCheck(char** argv);

}  // namespace os
