#pragma once

namespace os {

/// Closing descriptors by the hundred, in a child between fork and exec: nothing here allocates, locks or fails.

/// Closes `first` and every descriptor at or above the larger of `first` and 1.
/// @param keep stays open; -1 for none.
void closeFrom(int first, int keep = -1) noexcept;

/// What closeFrom() falls back on where the kernel cannot close a range: goes by a listing of the open descriptors.
/// @return false if the listing cannot be opened or read to its end.
bool closeListedFrom(int first, int keep = -1, const char* listing = "/proc/self/fd") noexcept;

/// And where there is no listing either: every number up to the limit of descriptors, held between 1024 and 100000.
void closeCountedFrom(int first, int keep = -1) noexcept;

}  // namespace os
