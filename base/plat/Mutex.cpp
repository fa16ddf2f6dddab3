#include "base/plat/Mutex.h"

#include <cstdio>

namespace plat {

namespace {

/// What all mutexes of the process are made with. Never destroyed: mutexes are made and used at any time.
const pthread_mutexattr_t* sharedAttributes() noexcept {
  static const pthread_mutexattr_t attributes = [] {
    pthread_mutexattr_t made;
    pthread_mutexattr_init(&made);
    if (pthread_mutexattr_settype(&made, PTHREAD_MUTEX_RECURSIVE) != 0) {
      std::fputs("WARNING: system libpthread has no recursive mutexes; deadlock may result.\n", stderr);
    }
    return made;
  }();
  return &attributes;
}

}  // namespace

Mutex::Mutex() noexcept {
  pthread_mutex_init(&native_, sharedAttributes());
}

Mutex::~Mutex() {
  pthread_mutex_destroy(&native_);
}

}  // namespace plat
