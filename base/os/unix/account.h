#pragma once

#include <sys/types.h>

#include "base/plat/String.h"

namespace os {

/// A user as the system's account database has him; a copy of what the lookup gave.
struct Account {
  uid_t uid;
  gid_t gid;           ///< the primary group
  plat::String name;   ///< never null, like the other texts
  plat::String home;   ///< a directory, which need not exist
  plat::String shell;  ///< may be empty: the system's default shell
};

/// Looks an account up by its user id.
/// @throws plat::SystemException "getpwuid(%u)" if the database can't be read, and
///   "getpwuid(%u): account not found" with ENOENT if nobody has that id.
Account findAccount(uid_t uid);

}  // namespace os
