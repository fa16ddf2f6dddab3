#pragma once

#include <sys/types.h>

namespace os {

struct Account;

// The step from root to a user, of no return. Who fails here must not run on with the rights that are left, so nothing
// is thrown: a failure is printed on standard error and ends the process.

/// Takes the account's group, its further groups and its user id on, for good, and then verifies that.
/// A failed call prints "setgid()", "initgroups()" or "setuid()" with the reason and ends with exit code 1.
void changeUser(const Account& account);

/// Ends the process unless it is that user and group: "Unexpected uid\n" and abort() if the real, effective or saved
/// user id differs; "Unexpected gid\n" and exit code 1 if the real or effective group id does.
void requireUser(uid_t uid, gid_t gid);

}  // namespace os
