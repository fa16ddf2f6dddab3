#pragma once

#include "base/plat/Mutex.h"

namespace plat {

/// Holds a Mutex, which must outlive it, from construction to the end of the block.
class [[nodiscard]] Lock : private NonCopyable {
public:
  explicit Lock(Mutex& mutex) noexcept : mutex_(mutex) { mutex_.lock(); }
  ~Lock() { mutex_.unlock(); }

private:
  Mutex& mutex_;
};

}  // namespace plat
