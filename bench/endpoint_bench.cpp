// Endpoints taken apart and put together: what a server does once per connection, and a log line for each.

#include <benchmark/benchmark.h>

#include "base/io/IpInfo.h"
#include "base/io/endpoint.h"

namespace {

constexpr int BasePort = 5900;
constexpr int PortRange = 100;

void split(benchmark::State& state, const char* text) {
  plat::String host;
  int port = 0;
  for (auto _ : state) {
    io::splitHostPort(text, host, &port, BasePort, PortRange);
    benchmark::DoNotOptimize(port);
  }
}
BENCHMARK_CAPTURE(split, name, "server.some-office.example:5");
BENCHMARK_CAPTURE(split, ipv6, "[2001:db8:85a3::8a2e:370:7334]::5901");

void format(benchmark::State& state, const char* host, int port) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(io::formatEndpoint(host, port, BasePort, PortRange));
  }
}
BENCHMARK_CAPTURE(format, name, "server.some-office.example", 5905);
BENCHMARK_CAPTURE(format, ipv6, "2001:db8:85a3::8a2e:370:7334", 65000);

/// The address of a new connection, as text.
void addressText(benchmark::State& state, const char* host) {
  const io::IpInfo info(host, 5901);
  for (auto _ : state) {
    benchmark::DoNotOptimize(io::IpInfo(info.address(), info.addressLength()).endpointText().get());
  }
}
BENCHMARK_CAPTURE(addressText, ipv4, "192.0.2.17");
BENCHMARK_CAPTURE(addressText, ipv6, "2001:db8:85a3::8a2e:370:7334");

void parseAddress(benchmark::State& state, const char* host) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(io::IpInfo(host, 5901).port());
  }
}
BENCHMARK_CAPTURE(parseAddress, ipv4, "192.0.2.17");
BENCHMARK_CAPTURE(parseAddress, ipv6, "2001:db8:85a3::8a2e:370:7334");

}  // namespace
