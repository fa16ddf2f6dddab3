#include "tests/base/os/ChildAllocations.h"

#include <atomic>
#include <cstddef>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace {

constinit std::atomic<pid_t> watched = 0;
constinit std::atomic<int>* counter = nullptr;  // in memory that a fork shares

}  // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZED
#endif
#endif

#ifdef SANITIZED
const bool test::ChildAllocations::works = false;
#else
const bool test::ChildAllocations::works = true;

extern "C" void* __libc_malloc(std::size_t size);

// In the place of the system library's own, whose other functions go on working with it.
extern "C" void* malloc(std::size_t size) noexcept {
  if (const pid_t parent = watched; parent != 0 && ::getpid() != parent) {
    ++*counter;
  }
  return __libc_malloc(size);
}
#endif

namespace test {

ChildAllocations::ChildAllocations() {
  void* const shared = ::mmap(nullptr, sizeof *counter, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  counter = new (shared) std::atomic<int>(0);
  watched = ::getpid();
}

ChildAllocations::~ChildAllocations() {
  watched = 0;
  ::munmap(counter, sizeof *counter);
}

int ChildAllocations::count() const {
  return *counter;
}

}  // namespace test
