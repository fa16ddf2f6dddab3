#include "base/plat/alloc.h"

#include <cstdlib>

#include <unistd.h>

namespace plat {

namespace {

[[noreturn]] void die() noexcept {
  // No stdio and no log: both may want memory themselves.
  static constexpr char text[] = "out of memory\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text, sizeof text - 1);
  std::abort();
}

}  // namespace

void* allocOrDie(std::size_t size) noexcept {
  return reallocOrDie(nullptr, size);
}

void* allocBufferOrDie(std::size_t size) noexcept {
  constexpr std::size_t PageSize = 4096;
  if (size < PageSize) {
    return allocOrDie(size);
  }
  // The function demands a size that is a multiple of the alignment.
  void* const result = std::aligned_alloc(PageSize, (size + PageSize - 1) / PageSize * PageSize);
  if (result == nullptr) {
    die();
  }
  return result;
}

void* reallocOrDie(void* buffer, std::size_t size) noexcept {
  void* const result = std::realloc(buffer, size > 0 ? size : 1);
  if (result == nullptr) {
    die();
  }
  return result;
}

}  // namespace plat
