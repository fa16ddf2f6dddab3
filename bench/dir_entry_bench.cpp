// An entry list of the size of a large folder, written and read: what a listing costs besides the disk.

#include <cstdint>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/plat/String.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "libs/fops/DirEntry.h"
#include "libs/fops/dirEntryIo.h"

namespace {

constexpr int EntryCount = 100000;

std::vector<fops::DirEntry> makeList() {
  std::vector<fops::DirEntry> list;
  list.reserve(EntryCount);
  for (int i = 0; i < EntryCount; ++i) {
    fops::DirEntry& entry = list.emplace_back(plat::String::format("picture %06d.jpeg", i).get(), 0);
    entry.size = 4096 + i;
    entry.createTime = entry.accessTime = entry.modifyTime = 133000000000000000 + i;
    fops::setUnixMode(entry, 0100644);
  }
  return list;
}

void makeEntries(benchmark::State& state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(makeList());
  state.SetItemsProcessed(state.iterations() * EntryCount);
}
BENCHMARK(makeEntries)->Unit(benchmark::kMillisecond);

void writeEntries(benchmark::State& state) {
  const std::vector<fops::DirEntry> list = makeList();
  for (auto _ : state) {
    rdr::MemOutStream out(16 << 20);
    fops::writeDirEntries(list, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * EntryCount);
}
BENCHMARK(writeEntries)->Unit(benchmark::kMillisecond);

void readEntries(benchmark::State& state) {
  rdr::MemOutStream out;
  fops::writeDirEntries(makeList(), out);
  for (auto _ : state) {
    rdr::MemInStream in(out.data(), static_cast<int>(out.length()));
    std::vector<fops::DirEntry> list;
    std::int32_t cursor = -1;
    fops::readDirEntries(list, in, cursor);
    benchmark::DoNotOptimize(list.data());
  }
  state.SetItemsProcessed(state.iterations() * EntryCount);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(out.length()));
}
BENCHMARK(readEntries)->Unit(benchmark::kMillisecond);

void moveEntries(benchmark::State& state) {
  std::vector<fops::DirEntry> list = makeList();
  for (auto _ : state) {
    std::vector<fops::DirEntry> other;
    other.reserve(list.size());
    for (fops::DirEntry& entry : list)
      other.push_back(std::move(entry));
    list.swap(other);
    benchmark::DoNotOptimize(list.data());
  }
  state.SetItemsProcessed(state.iterations() * EntryCount);
}
BENCHMARK(moveEntries)->Unit(benchmark::kMillisecond);

}  // namespace
