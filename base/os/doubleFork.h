#pragma once

#include "base/os/unix/forkShared.h"

namespace os {

/// Makes a grandchild in a session of its own, which the caller is not the parent of and never has to wait for. The
/// child in between leads the session and is gone when this returns, so no terminal can attach itself to the
/// grandchild.
///
/// @param errorFd where the child in between sends a start-error record ("fork") if it cannot fork; negative to print
///   "fork error %s" to standard error instead.
/// @return true in the grandchild, false in the caller.
/// @throws plat::SystemException "fork"; plat::AssertionFail "rv > 0" if the child in between cannot be waited for
bool doubleFork(int errorFd = -1);

/// The same with a grandchild that runs `body` in the caller's memory; see forkShared() for what it may do.
/// @param errorFd as above, not negative.
void doubleFork(int errorFd, ChildBody body, void* context);

}  // namespace os
