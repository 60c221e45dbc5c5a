// CompareFiles and copyFileWr on 256 MiB files in the page cache, beside `cmp -s` and `cp`
// run as child processes. All are timed by the wall clock, which is the only clock that sees
// a child's work.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "GeneralUtils.h"
#include "bench_util.h"

namespace {

const uint64_t kSize = 256ull << 20;

// Made on first use, so a filter that skips this family writes nothing; removed at exit.
struct Files {
  gubench::ScratchFile a{"a", kSize, 7};
  gubench::ScratchFile b{"b", kSize, 7};
  gubench::ScratchFile longer{"longer", kSize + 1};  // sparse: costs no writing
  std::string copy = gubench::scratchPath("copy");
  ~Files() { std::remove(copy.c_str()); }
  bool ok() const { return a.ok() && b.ok() && longer.ok(); }
};

const Files& files() {
  static const Files f;
  return f;
}

template <typename F>
void runWhole(benchmark::State& state, uint64_t bytes, F f) {
  if (!files().ok()) return state.SkipWithError("cannot write the files under GU_BENCH_DIR");
  for ([[maybe_unused]] auto _ : state) {
    if (!f()) return state.SkipWithError("wrong result");
  }
  if (bytes != 0) state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void BM_CompareLibrary(benchmark::State& state) {
  runWhole(state, kSize,
           [] { return GeneralUtils::CompareFiles(files().a.path(), files().b.path()); });
}

void BM_CompareCmp(benchmark::State& state) {
  runWhole(state, kSize, [] {
    return gubench::spawnAndWait({"cmp", "-s", files().a.path(), files().b.path()}) == 0;
  });
}

void BM_CompareDifferentSize(benchmark::State& state) {
  runWhole(state, 0,
           [] { return !GeneralUtils::CompareFiles(files().a.path(), files().longer.path()); });
}

void BM_CopyLibrary(benchmark::State& state) {
  runWhole(state, kSize, [] {
    GeneralUtils::copyFileWr(files().a.path(), files().copy);
    return GeneralUtils::FileSize(files().copy) == static_cast<std::streamoff>(kSize);
  });
}

void BM_CopyCp(benchmark::State& state) {
  runWhole(state, kSize, [] {
    return gubench::spawnAndWait({"cp", files().a.path(), files().copy}) == 0;
  });
}

}  // namespace

BENCHMARK(BM_CompareLibrary)
    ->Name("CompareFiles_256MiB/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompareCmp)
    ->Name("CompareFiles_256MiB/cmp_baseline")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompareDifferentSize)->Name("CompareFiles_different_size/library")->UseRealTime();
BENCHMARK(BM_CopyLibrary)
    ->Name("copyFileWr_256MiB/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyCp)
    ->Name("copyFileWr_256MiB/cp_baseline")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
