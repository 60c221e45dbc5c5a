// sprintfString beside vsnprintf into a stack buffer and one string built from it.
#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "GeneralUtils.h"

namespace {

// The cheapest string a printf-style call can give: one format pass, one construction.
std::string stackFormat(const char* fmt, ...) {
  char buf[256];
  va_list ap;
  va_start(ap, fmt);
  const int n = vsnprintf(buf, sizeof(buf), fmt, ap);
  va_end(ap);
  return n < 0 ? std::string() : std::string(buf, static_cast<size_t>(n));
}

const char kNode[] = "build01";

void BM_IntLibrary(benchmark::State& state) {
  int v = 0;
  for ([[maybe_unused]] auto _ : state)
    benchmark::DoNotOptimize(GeneralUtils::sprintfString("%d", ++v % 100000));
}

void BM_IntBaseline(benchmark::State& state) {
  int v = 0;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(stackFormat("%d", ++v % 100000));
}

// The fingerprint's own format: three 16-bit hashes around the node name.
void BM_FingerprintLibrary(benchmark::State& state) {
  unsigned v = 0;
  for ([[maybe_unused]] auto _ : state) {
    ++v;
    benchmark::DoNotOptimize(GeneralUtils::sprintfString("%04X%s%04X%04X", v & 0xFFFF, kNode,
                                                         (v * 7) & 0xFFFF, (v * 13) & 0xFFFF));
  }
}

void BM_FingerprintBaseline(benchmark::State& state) {
  unsigned v = 0;
  for ([[maybe_unused]] auto _ : state) {
    ++v;
    benchmark::DoNotOptimize(
        stackFormat("%04X%s%04X%04X", v & 0xFFFF, kNode, (v * 7) & 0xFFFF, (v * 13) & 0xFFFF));
  }
}

}  // namespace

BENCHMARK(BM_IntLibrary)->Name("sprintfString_d/library");
BENCHMARK(BM_IntBaseline)->Name("sprintfString_d/vsnprintf_baseline");
BENCHMARK(BM_FingerprintLibrary)->Name("sprintfString_fingerprint/library");
BENCHMARK(BM_FingerprintBaseline)->Name("sprintfString_fingerprint/vsnprintf_baseline");
