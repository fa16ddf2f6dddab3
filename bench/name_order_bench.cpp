// The order of names in a listing of 100,000 entries, which a folder of pictures or of a mail store reaches. Three
// kinds of names: a camera's (alike but for a number), words with numbers between them, and long random hexadecimal
// ones. Each in the collation by byte that most servers run with, and in the one of the environment's locale.

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/loc/LocaleSetter.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/local/EntrySorter.h"
#include "libs/fops/local/naturalCompare.h"

namespace {

constexpr int Count = 100000;

enum Kind { Camera, Words, Stamps, Hex };

std::vector<fops::DirEntry> makeList(int kind) {
  static const char* const words[] = {"report", "draft ", "Invoice-", "mail.", "\xc3\xa9tude ", "x"};
  std::mt19937 engine(1);
  std::vector<fops::DirEntry> list;
  list.reserve(Count);
  for (int i = 0; i < Count; ++i) {
    char name[64];
    const unsigned number = engine() % 1000000;
    if (kind == Camera)
      std::snprintf(name, sizeof name, "IMG_%d.jpg", (i * 7919) % Count);
    else if (kind == Words)
      std::snprintf(name, sizeof name, "%s%u %s%d", words[engine() % 6], number % 100, words[engine() % 6], i);
    else if (kind == Stamps)
      std::snprintf(name, sizeof name, "scan-20240%u%08u.pdf", number % 9, unsigned(engine()) % 100000000);
    else
      std::snprintf(name, sizeof name, "%08x%08x%08x", unsigned(engine()), unsigned(engine()), unsigned(engine()));
    list.emplace_back(name, 0);
  }
  return list;
}

void sortNames(benchmark::State& state, const char* locale) {
  const loc::LocaleSetter setter(locale);
  const std::vector<fops::DirEntry> unsorted = makeList(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<fops::DirEntry> list = unsorted;
    state.ResumeTiming();
    fops::EntrySorter().sort(list);
    benchmark::DoNotOptimize(list.data());
  }
  state.SetItemsProcessed(state.iterations() * Count);
}
BENCHMARK_CAPTURE(sortNames, byByte, "C")->DenseRange(Camera, Hex)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(sortNames, environment, nullptr)->DenseRange(Camera, Hex)->Unit(benchmark::kMillisecond);

/// One comparison as it stands, for the price of what the keys save.
void compareTwo(benchmark::State& state) {
  const loc::LocaleSetter setter("C");
  for (auto _ : state)
    benchmark::DoNotOptimize(fops::naturalCompare("IMG_12345.jpg", "IMG_12346.jpg"));
}
BENCHMARK(compareTwo);

}  // namespace
