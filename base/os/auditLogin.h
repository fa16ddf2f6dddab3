#pragma once

#include <sys/types.h>

namespace os {

/// Makes `uid` the login user that the kernel's audit trail names for this process and all that descend from it.
///
/// Without effect where the audit library is not installed. A refusal never stops a launch: it is printed on standard
/// error if the process has no login user at all, and passed over if an earlier login has fixed one.
void setAuditLogin(uid_t uid);

}  // namespace os
