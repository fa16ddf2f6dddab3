#pragma once

#include <cstddef>

namespace plat {

/// Memory of `size` bytes from malloc, to be given back with free(). There is no way to carry on without it here:
/// on failure the process ends with a line on stderr. A size of 0 gives one byte.
[[nodiscard]] void* allocOrDie(std::size_t size) noexcept;

/// allocOrDie() for buffers: what is as large as a page begins at one, since the system copies such memory faster.
[[nodiscard]] void* allocBufferOrDie(std::size_t size) noexcept;

/// realloc() under the same terms as allocOrDie; `buffer` may be null.
[[nodiscard]] void* reallocOrDie(void* buffer, std::size_t size) noexcept;

}  // namespace plat
