// execCommandAndSaveOutput on 100 MiB of 80-byte lines beside popen and 64 KiB freads of the
// same command. Both are timed by the wall clock, which includes the child's share.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "GeneralUtils.h"
#include "bench_util.h"

namespace {

const uint64_t kSize = 100ull << 20;

// The command reads a pregenerated file, so the producer costs the same under both readers.
const std::string& command() {
  static const gubench::ScratchFile lines("lines", kSize, 11, true);
  static const std::string cmd =
      lines.ok() ? "head -c " + std::to_string(kSize) + " " + lines.path() : "";
  return cmd;
}

std::string popenRead(const char* cmd) {
  std::string out;
  FILE* pipe = ::popen(cmd, "r");
  if (pipe == nullptr) return out;
  static char buf[64 * 1024];
  for (size_t n; (n = std::fread(buf, 1, sizeof(buf), pipe)) > 0;) out.append(buf, n);
  ::pclose(pipe);
  return out;
}

template <std::string (*Read)(const char*)>
void BM_Capture(benchmark::State& state) {
  if (command().empty()) return state.SkipWithError("cannot write the file under GU_BENCH_DIR");
  for ([[maybe_unused]] auto _ : state) {
    if (Read(command().c_str()).size() != kSize) return state.SkipWithError("short output");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kSize));
}

}  // namespace

BENCHMARK(BM_Capture<GeneralUtils::execCommandAndSaveOutput>)
    ->Name("execCommandAndSaveOutput_100MiB/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Capture<popenRead>)
    ->Name("execCommandAndSaveOutput_100MiB/popen_fread_baseline")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
