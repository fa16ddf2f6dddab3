// The stream core, which every byte on the link goes through.
//
// Typed reads and writes: records as entry lists consist of them, eight values of 1 to 8 bytes each, over memory.
// Framing: messages of 200 bytes (a request or a reply) and of 16,800 bytes (one chunk of a file), out of and into a
// stream with the default buffer over a transport that costs nothing.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/rdr/BufferedInStream.h"
#include "base/rdr/InStreamV4.h"
#include "base/rdr/MemInStream.h"
#include "base/rdr/MemOutStream.h"
#include "base/rdr/NullOutStream.h"
#include "base/rdr/OutStreamV4.h"

namespace {

constexpr int nRecords = 1000;
constexpr int recordSize = 8 + 8 + 8 + 4 + 4 + 2 + 1 + 1;

void writeRecord(rdr::OutStream& out, std::uint64_t i) {
  out.writeU64(i);
  out.writeU64(i * 3);
  out.writeS64(static_cast<std::int64_t>(i));
  out.writeU32(static_cast<std::uint32_t>(i));
  out.writeS32(5);
  out.writeU16(6);
  out.writeU8(7);
  out.writeU8(8);
}

std::uint64_t readRecord(rdr::InStream& in) {
  std::uint64_t sum = in.readU64() + in.readU64() + static_cast<std::uint64_t>(in.readS64());
  sum += in.readU32() + static_cast<std::uint64_t>(in.readS32()) + in.readU16();
  return sum + in.readU8() + in.readU8();
}

void typedWrites(benchmark::State& state) {
  for (auto _ : state) {
    rdr::MemOutStream fresh(nRecords * recordSize);
    for (std::uint64_t i = 0; i < nRecords; ++i) {
      writeRecord(fresh, i);
    }
    benchmark::DoNotOptimize(fresh.data());
  }
  state.SetBytesProcessed(state.iterations() * nRecords * recordSize);
  state.SetItemsProcessed(state.iterations() * nRecords * 8);
}
BENCHMARK(typedWrites);

void typedReads(benchmark::State& state) {
  rdr::MemOutStream out;
  for (std::uint64_t i = 0; i < nRecords; ++i) {
    writeRecord(out, i);
  }
  for (auto _ : state) {
    rdr::MemInStream in(out.data(), static_cast<int>(out.length()));
    std::uint64_t sum = 0;
    for (int i = 0; i < nRecords; ++i) {
      sum += readRecord(in);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * nRecords * recordSize);
  state.SetItemsProcessed(state.iterations() * nRecords * 8);
}
BENCHMARK(typedReads);

/// Takes everything at once.
class Sink final : public rdr::BufferedNBOutStream {
protected:
  int writeFromBuffer(const std::uint8_t*, int len, bool) override { return len; }
};

/// Gives the same bytes over and over.
class Source final : public rdr::BufferedInStream {
public:
  Source(const std::string& bytes, int size) : BufferedInStream(size), bytes_(bytes) {}

protected:
  int readBlock(std::uint8_t* dest, int len) override {
    const auto n = std::min(static_cast<std::size_t>(len), bytes_.size() - at_);
    std::memcpy(dest, bytes_.data() + at_, n);
    at_ = (at_ + n) % bytes_.size();
    return static_cast<int>(n);
  }

private:
  const std::string& bytes_;
  std::size_t at_ = 0;
};

void framingOut(benchmark::State& state) {
  const std::vector<char> payload(static_cast<std::size_t>(state.range(0)), 'x');
  Sink below;
  rdr::OutStreamV4 out(&below);
  for (auto _ : state) {
    out.startMsg();
    out.writeShortString("fops");
    out.writeBytes(payload.data(), static_cast<int>(payload.size()));
    out.endMsg(true);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(framingOut)->Arg(200)->Arg(16800);

void framingIn(benchmark::State& state) {
  const auto size = static_cast<std::uint32_t>(state.range(0));
  std::vector<char> payload(size, 'x');
  rdr::MemOutStream wire(1 << 20);
  rdr::OutStreamV4 out(&wire);
  while (wire.length() < 500000) {
    out.startMsg();
    out.writeBytes(payload.data(), static_cast<int>(size));
    out.endMsg(false);
  }
  const std::string bytes(reinterpret_cast<const char*>(wire.data()), wire.length());
  Source below(bytes, 65536);
  rdr::InStreamV4 in(&below);
  for (auto _ : state) {
    in.startMsg(false);
    benchmark::DoNotOptimize(in.readFixed(payload.data(), size));
    in.endMsg();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(framingIn)->Arg(200)->Arg(16800);

}  // namespace
