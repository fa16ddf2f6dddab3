#pragma once

#include <cstdint>

namespace fops {

/// The sum of the sizes of all files below a directory; directories add nothing and links are followed. What cannot be
/// read counts 0 and is logged at debug on "getDirEntry".
///
/// Depth is limited by the length of paths alone: one directory handle is open at a time, and the stack does not grow.
/// @param local local path.
/// @throws plat::SystemException if the directory itself cannot be opened or read to its end.
std::int64_t dirTreeSize(const char* local);

}  // namespace fops
