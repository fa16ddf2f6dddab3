#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "base/plat/alloc.h"

namespace rdr {

/// Calls free() on what came from malloc.
struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

/// Owner of raw bytes from malloc, so that they can be handed to plat::MBuf, plat::String and plat::DString uncopied.
using MallocBytes = std::unique_ptr<std::uint8_t[], FreeDeleter>;

/// Uninitialised memory. Ends the process if there is none.
[[nodiscard]] inline MallocBytes mallocBytes(std::size_t size) noexcept {
  return MallocBytes(static_cast<std::uint8_t*>(plat::allocBufferOrDie(size)));
}

}  // namespace rdr
