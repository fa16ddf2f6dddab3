#include "base/plat/stackTrace.h"

#include <cstdlib>
#include <memory>

#include <execinfo.h>

#include "base/plat/String.h"

namespace plat {

/// Not inlined, since the frame that is left out has to be its own.
[[gnu::noinline]] std::vector<std::string> stackTrace() {
  constexpr int maxFrames = 62;
  void* frames[maxFrames];
  const int count = backtrace(frames, maxFrames);
  const auto free = [](char** symbols) { std::free(static_cast<void*>(symbols)); };
  const std::unique_ptr<char*, decltype(free)> symbols(backtrace_symbols(frames, count), free);
  std::vector<std::string> lines;
  for (int i = 1; symbols != nullptr && i < count; ++i) {
    lines.emplace_back(String::format("%2d %s", i, symbols.get()[i]).orEmpty());
  }
  return lines;
}

}  // namespace plat
