#include "base/plat/MBuf.h"

namespace plat {

void secureZero(void* p, std::size_t n) noexcept {
  auto* bytes = static_cast<volatile unsigned char*>(p);
  for (std::size_t i = 0; i < n; ++i) {
    bytes[i] = 0;
  }
}

}  // namespace plat
