#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/plat/Exception.h"
#include "base/plat/utf8.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/exceptions.h"
#include "tests/support/TestStreams.h"

// What every target begins with. A target is one source that includes this and defines fuzz::run().

namespace fuzz {

/// Tries one input, whatever its bytes. They end where the input ends: nothing terminates them.
void run(std::string_view input);

/// Ends the process, which is how a target tells that it has found something.
inline void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// A stream over bytes that outlive it.
inline rdr::MemInStream streamOver(std::string_view bytes) {
  return {bytes.data(), static_cast<int>(bytes.size())};
}

}  // namespace fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::run({reinterpret_cast<const char*>(data), size});
  return 0;
}
