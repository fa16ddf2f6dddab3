#pragma once

namespace loc {

// Texts that are missing or do not fit their use: mistakes of whoever wrote them, which the user should not pay for.

/// Whether such a text ends the process; false at first. For those who make and check translations. Any thread.
void setAbortOnBadStrings(bool abort) noexcept;

/// Logs `message` at level 0 on the source "Localize"; then, if told to, prints it on stderr and aborts.
void reportBadString(const char* message);

}  // namespace loc
