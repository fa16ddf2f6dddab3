#pragma once

#include <atomic>
#include <cstdint>

#include "base/os/unix/DynamicFn.h"

namespace os {

/// A function of the system library that older systems lack: looked up at its first use, not at the program's start,
/// and the answer kept.
///
/// Ownership: a static object, constant-initialised, so that static initialisers may use it; owns nothing.
/// Thread:    any. Between fork and exec get() is safe only if it has been called before the fork: then it is one load,
///            while a first call locks and allocates.
template <class Function>
class LateFunction {
public:
  /// @param name of the function; kept as a pointer, so a literal.
  explicit constexpr LateFunction(const char* name) noexcept : name_(name) {}
  LateFunction(const LateFunction&) = delete;
  LateFunction& operator=(const LateFunction&) = delete;

  /// Null if the system has none.
  Function* get() {
    const std::uintptr_t known = found_.load(std::memory_order_acquire);
    // An atomic number, not a pointer, since it needs one more value than there are addresses.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return known != NotAsked ? reinterpret_cast<Function*>(known) : lookUp();
  }

  /// Has the next get() look again. For tests that answer the lookup themselves.
  void forget() noexcept { found_.store(NotAsked, std::memory_order_release); }

private:
  static constexpr std::uintptr_t NotAsked = 1;  // no function's address; 0 stands for "there is none"

  // Threads that come here together find the same.
  Function* lookUp() {
    auto* const function = plat::DynamicFn::findAs<Function>("c[6,7]", name_);
    found_.store(reinterpret_cast<std::uintptr_t>(function), std::memory_order_release);
    return function;
  }

  const char* name_;
  std::atomic<std::uintptr_t> found_ = NotAsked;
};

}  // namespace os
