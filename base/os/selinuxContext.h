#pragma once

namespace os {

/// Fixes the SELinux context in which the next program is executed to the one that a login of `user` would get.
///
/// Without effect where SELinux is absent or switched off, and where a context has been fixed already. The library is
/// loaded at run time only.
/// A failure is printed on standard error and ends the process with code 1, since the program must not run in a
/// context of root's: "missing function(s)" if the library lacks one that is needed; "setexeccon(%s)" if the context
/// is refused while SELinux enforces; "Unable to identify correct SELinux context for user %s\n" if none is known to
/// a system that does not answer to be permissive.
/// @param user an account's name
void setSelinuxContext(const char* user);

}  // namespace os
