#pragma once

#include <cstddef>

namespace test {

/// How often this thread has called operator new, which is replaced for the whole test program.
std::size_t allocationCount() noexcept;

}  // namespace test
