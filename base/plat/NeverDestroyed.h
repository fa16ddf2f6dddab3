#pragma once

#include <cstddef>
#include <new>
#include <utility>

#include "base/plat/NonCopyable.h"

namespace plat {

/// Holds a static object whose destructor never runs, in place and without an allocation.
///
/// Purpose:   for function-local statics that other static objects use from their destructors, and threads after exit
///            began: log sources, parameters, caches. What they hold at the end goes with the process.
/// Thread:    that of the T; the first use of a function-local static is made safe by the compiler.
template <class T>
class NeverDestroyed final : private NonCopyable {
public:
  template <class... Args>
  explicit NeverDestroyed(Args&&... args) {
    ::new (static_cast<void*>(storage_)) T(std::forward<Args>(args)...);
  }

  T& operator*() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }
  T* operator->() noexcept { return &**this; }

private:
  alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace plat
