// GetFirstFunctionNameAndCount on a 60-byte chain beside one copy of the same text, with the
// heap allocations of one call counted through the replaced global operator new.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "GeneralUtils.h"

namespace {
std::atomic<size_t> gAllocs{0};
}  // namespace

// All out of line, or the compiler sees malloc() and free() meet new and delete, and warns.
__attribute__((noinline)) void* operator new(std::size_t n) {
  gAllocs.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(n != 0 ? n : 1)) return p;
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

// As the stringise operator renders it: blanks kept after the commas only.
const char kChain[] = "mock.expectCall(1, 2).withArgs(x, y).expectCall(3).result(0)";
static_assert(sizeof(kChain) - 1 == 60, "the chain is 60 bytes");

// Allocations of one call, outside the timed loop so nothing else can add to them.
template <typename F>
double allocsOf(F f) {
  const size_t before = gAllocs.load();
  f();
  return static_cast<double>(gAllocs.load() - before);
}

void BM_ChainLibrary(benchmark::State& state) {
  const std::string chain = kChain;
  std::string name;
  UINT count = 0;
  state.counters["allocs_per_call"] =
      allocsOf([&] { count = GeneralUtils::GetFirstFunctionNameAndCount(chain, name); });
  for ([[maybe_unused]] auto _ : state) {
    count = GeneralUtils::GetFirstFunctionNameAndCount(chain, name);
    benchmark::DoNotOptimize(count);
    benchmark::DoNotOptimize(name.data());
  }
  if (name != "expectCall(" || count != 2) state.SkipWithError("unexpected name or count");
}

void BM_ChainCopyBaseline(benchmark::State& state) {
  const std::string chain = kChain;
  state.counters["allocs_per_call"] =
      allocsOf([&] { benchmark::DoNotOptimize(std::string(chain)); });
  for ([[maybe_unused]] auto _ : state) {
    std::string copy(chain);  // NOLINT(performance-unnecessary-copy-initialization): timed
    benchmark::DoNotOptimize(copy.data());
  }
}

}  // namespace

BENCHMARK(BM_ChainLibrary)->Name("GetFirstFunctionNameAndCount_60B/library");
BENCHMARK(BM_ChainCopyBaseline)->Name("GetFirstFunctionNameAndCount_60B/string_copy_baseline");
