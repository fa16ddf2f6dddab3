// Check and repair of UTF-8, which every text from the peer passes: plain ASCII, a mixed text, and a broken one.

#include <string>

#include <benchmark/benchmark.h>

#include "base/plat/utf8.h"

namespace {

std::string repeated(const char* piece, std::size_t bytes) {
  std::string text;
  while (text.size() < bytes)
    text += piece;
  return text;
}

const char* const Ascii = "report 2024-11 final.pdf ";
const char* const Mixed =
    "\xC3\x9C"
    "bersicht \xE2\x82\xAC 12 \xF0\x9F\x93\x81 ";
const char* const Broken =
    "caf\xE9 cr\xE8me br\xFBl\xE9"
    "e ";

void check(benchmark::State& state, const char* piece) {
  const std::string text = repeated(piece, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(plat::isValidUtf8(text.c_str()));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(check, ascii, Ascii)->Arg(24)->Arg(1024)->Arg(10240);
BENCHMARK_CAPTURE(check, mixed, Mixed)->Arg(24)->Arg(1024)->Arg(10240);

void repair(benchmark::State& state, const char* piece) {
  const std::string text = repeated(piece, static_cast<std::size_t>(state.range(0)));
  for (auto _ : state)
    benchmark::DoNotOptimize(plat::utf8Repair(text.c_str()));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK_CAPTURE(repair, ascii, Ascii)->Arg(1024);
BENCHMARK_CAPTURE(repair, mixed, Mixed)->Arg(1024);
BENCHMARK_CAPTURE(repair, broken, Broken)->Arg(24)->Arg(1024)->Arg(10240);

}  // namespace
