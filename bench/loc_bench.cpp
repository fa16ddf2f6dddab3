// What texts and log lines cost where they are used, and what making a map of texts adds to the start of a program or
// to the service of a peer that speaks another language than the machine's user.

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/loc/LocaleSetter.h"
#include "base/loc/Localize.h"
#include "base/loc/TransMap.h"
#include "base/loc/format.h"
#include "base/loc/translate.h"
#include "base/plat/Lock.h"
#include "base/plat/log/LogSrc.h"
#include "base/plat/logging/logging.h"

namespace {

void fillMap(const std::vector<std::string>& locales) {
  loc::TransMap map{loc::TransMap::ForThread()};
  const plat::Lock lock(loc::Localize::instance().lock());
  map.update(locales);
}

const std::vector<std::string> FiveLanguages = {"de_DE", "es_ES", "fr_FR", "pt_BR", "en_US"};

/// What a start pays once: the built-in tables of five languages are taken up, and a map is made of them.
void firstMap(benchmark::State& state) {
  for (auto _ : state) {
    fillMap(FiveLanguages);
  }
}
BENCHMARK(firstMap)->Iterations(1);

plat::LogSrc benchLog("LocBench");

void suppressedLogCall(benchmark::State& state) {
  plat::logStart();
  plat::logOverride("LocBench::0");
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    benchLog.debug("a line that nobody reads: %d %s", value, "text");
  }
  plat::logOverride(nullptr);
}
BENCHMARK(suppressedLogCall);

void translated(benchmark::State& state, const char* key, bool raw) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(loc::translate(key, __FILE__, __LINE__, raw));
  }
}
BENCHMARK_CAPTURE(translated, plain, "plat_run_with_help", false);
BENCHMARK_CAPTURE(translated, withPercent, "io_error_endpoint_badescape", false);
BENCHMARK_CAPTURE(translated, raw, "plat_bad_argument", true);

void translatedPlural(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(loc::translatePlural(loc::Localize::instance(), "loc_period_day", 3, __FILE__, __LINE__));
  }
}
BENCHMARK(translatedPlural);

void formatted(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(loc::format("Unable to connect via %1$S: %2$S", {"proxy.example", "no route"}));
  }
}
BENCHMARK(formatted);

/// A map from tables that are there already: one language, then five.
void makeMap(benchmark::State& state, const std::vector<std::string>& locales) {
  for (auto _ : state) {
    fillMap(locales);
  }
}
BENCHMARK_CAPTURE(makeMap, english, {"en_US"});
BENCHMARK_CAPTURE(makeMap, fiveLanguages, FiveLanguages);

/// The setter around every sorted listing, and one for a peer whose locale the machine does not know.
void localeSetter(benchmark::State& state, const char* locales) {
  for (auto _ : state) {
    const loc::LocaleSetter setter(locales);
  }
}
BENCHMARK_CAPTURE(localeSetter, inherited, nullptr);
BENCHMARK_CAPTURE(localeSetter, unknown, "xx_YY");

}  // namespace
