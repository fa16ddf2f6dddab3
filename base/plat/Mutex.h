#pragma once

#include <pthread.h>

#include "base/plat/NonCopyable.h"

namespace plat {

/// A lock that its holder may take again; as many unlock() calls release it.
///
/// Purpose:   guards the few things that other threads may reach: log destinations, translation tables, locale
///            caches, the lookup of functions at run time, threads.
///            Streams, descriptors and the file service take no locks. Take it through a Lock where a block ends it.
/// Lifecycle: may be made in any static initialiser. Destroy it only when nobody holds it.
class Mutex : private NonCopyable {
public:
  Mutex() noexcept;
  ~Mutex();

  void lock() noexcept { pthread_mutex_lock(&native_); }
  void unlock() noexcept { pthread_mutex_unlock(&native_); }

private:
  friend class Condition;

  pthread_mutex_t native_;
};

}  // namespace plat
