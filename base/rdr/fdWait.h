#pragma once

namespace rdr {

/// Waits with select(2) until `fd` is ready to be read from, written to, or either. Signals do not lengthen the wait.
/// @param timeoutMs the limit; 0 looks once, negative waits without one.
/// @return false if the limit has passed.
/// @throws plat::SystemException "select"; with EMFILE for a descriptor that select cannot watch, above 1023
[[nodiscard]] bool waitForFd(int fd, int timeoutMs, bool forRead, bool forWrite);

}  // namespace rdr
