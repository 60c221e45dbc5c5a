// crc32c beside the three crc32 chains it ran before the folding paths came (its baseline,
// through crc32cOnPath), on the fingerprint's 20-byte text, 64 bytes, 4 KiB, 1 MiB and 64 MiB;
// every path of crc32cPaths() on 1 MiB; and, on 64 MiB, beside a loop that only loads the
// buffer with the widest vectors the processor has, the read limit no checksum can beat.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "GeneralUtils.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace {

using GeneralUtils::crc32c;
using GeneralUtils::crc32cOnPath;
using GeneralUtils::crc32cPaths;

const size_t kKiB = 1024;
const size_t kMiB = 1024 * kKiB;

#if defined(__x86_64__)
const char kThreeChains[] = "sse4.2-crc32";
#else
const char kThreeChains[] = "armv8-crc32";
#endif

// Xorshift bytes, made once per process: 16 MiB shared by the sizes up to 1 MiB, and a 64 MiB
// buffer of its own, well past the 32 MiB L3, so that its passes come from memory.
const std::vector<unsigned char>& pool(size_t size) {
  static const auto make = [](size_t n) {
    std::vector<unsigned char> block(n);
    uint32_t x = 2463534242u;
    for (unsigned char& b : block) {
      x ^= x << 13, x ^= x >> 17, x ^= x << 5;
      b = static_cast<unsigned char>(x >> 24);
    }
    return block;
  };
  static const std::vector<unsigned char> small = make(16 * kMiB);
  static const std::vector<unsigned char> large = make(64 * kMiB);
  return size <= small.size() ? small : large;
}

bool hasPath(const std::string& path) {
  for (const std::string& p : crc32cPaths()) {
    if (p == path) return true;
  }
  return false;
}

// Each pass takes the next kLen bytes of the pool's first kSpan bytes, so short passes do not
// see the same bits every time; from 1 MiB on kSpan is the length itself. path "" is crc32c
// itself; any other name goes through crc32cOnPath, whose name lookup every pass pays.
void poolPasses(benchmark::State& state, const std::string& path, size_t len, size_t span) {
  if (!path.empty() && !hasPath(path)) return state.SkipWithError("no such path here");
  const unsigned char* const data = pool(span).data();
  size_t at = 0;
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(data);
    const uint32_t crc =
        path.empty() ? crc32c(0, data + at, len) : crc32cOnPath(path, 0, data + at, len);
    benchmark::DoNotOptimize(crc);
    at = (at + len) % span;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * len));
}

// The text GetSystemFingerprint takes the CRC of, with one more character: 20 bytes.
void fingerprintPasses(benchmark::State& state, const std::string& path) {
  static const char kText[] = "00ABbuild011F2E1260x";
  const size_t len = sizeof(kText) - 1;
  const unsigned char* const text = reinterpret_cast<const unsigned char*>(kText);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(text);
    const uint32_t crc = path.empty() ? crc32c(0, text, len) : crc32cOnPath(path, 0, text, len);
    benchmark::DoNotOptimize(crc);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * len));
}

#if defined(__x86_64__)

// Loads every byte of the 64 MiB buffer into four vector accumulators, 128 or 256 bytes a
// step, and combines them so that no load can be dropped: the rate at which this core reads.
__attribute__((target("avx2"))) void loadAvx2(benchmark::State& state) {
  if (!__builtin_cpu_supports("avx2")) return state.SkipWithError("the processor lacks AVX2");
  const std::vector<unsigned char>& buf = pool(64 * kMiB);
  for ([[maybe_unused]] auto _ : state) {
    __m256i a = _mm256_setzero_si256(), b = a, c = a, d = a;
    for (size_t i = 0; i < buf.size(); i += 128) {
      const auto* p = reinterpret_cast<const __m256i*>(&buf[i]);
      a = _mm256_xor_si256(a, _mm256_loadu_si256(p));
      b = _mm256_xor_si256(b, _mm256_loadu_si256(p + 1));
      c = _mm256_xor_si256(c, _mm256_loadu_si256(p + 2));
      d = _mm256_xor_si256(d, _mm256_loadu_si256(p + 3));
    }
    benchmark::DoNotOptimize(_mm256_xor_si256(_mm256_xor_si256(a, b), _mm256_xor_si256(c, d)));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * buf.size()));
}

__attribute__((target("avx512f"))) void loadAvx512(benchmark::State& state) {
  if (!__builtin_cpu_supports("avx512f")) {
    return state.SkipWithError("the processor lacks AVX-512");
  }
  const std::vector<unsigned char>& buf = pool(64 * kMiB);
  for ([[maybe_unused]] auto _ : state) {
    __m512i a = _mm512_setzero_si512(), b = a, c = a, d = a;
    for (size_t i = 0; i < buf.size(); i += 256) {
      a = _mm512_xor_si512(a, _mm512_loadu_si512(&buf[i]));
      b = _mm512_xor_si512(b, _mm512_loadu_si512(&buf[i + 64]));
      c = _mm512_xor_si512(c, _mm512_loadu_si512(&buf[i + 128]));
      d = _mm512_xor_si512(d, _mm512_loadu_si512(&buf[i + 192]));
    }
    benchmark::DoNotOptimize(_mm512_xor_si512(_mm512_xor_si512(a, b), _mm512_xor_si512(c, d)));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * buf.size()));
}

#endif

// Registered at start-up, since the paths are the processor's.
const bool kRegistered = [] {
  using benchmark::RegisterBenchmark;
  const std::string first = crc32cPaths().front();
  RegisterBenchmark("crc32c_20B/library", fingerprintPasses, "");
  RegisterBenchmark(("crc32c_20B/" + first + "_by_name").c_str(), fingerprintPasses, first);
  RegisterBenchmark("crc32c_20B/three_chain_baseline_by_name", fingerprintPasses, kThreeChains);
  const size_t kShort[] = {64, 4 * kKiB};
  for (size_t len : kShort) {
    const std::string size = len < kKiB ? std::to_string(len) + "B" : "4KiB";
    RegisterBenchmark(("crc32c_" + size + "/library").c_str(), poolPasses, "", len, kMiB);
    RegisterBenchmark(("crc32c_" + size + "/" + first + "_by_name").c_str(), poolPasses, first, len,
                      kMiB);
    RegisterBenchmark(("crc32c_" + size + "/three_chain_baseline_by_name").c_str(), poolPasses,
                      kThreeChains, len, kMiB);
  }
  RegisterBenchmark("crc32c_1MiB/library", poolPasses, "", kMiB, kMiB);
  for (const std::string& path : crc32cPaths()) {
    const std::string name = path == kThreeChains ? "three_chain_baseline" : path;
    RegisterBenchmark(("crc32c_1MiB/" + name).c_str(), poolPasses, path, kMiB, kMiB)
        ->Unit(path == "bitwise" ? benchmark::kMillisecond : benchmark::kMicrosecond);
  }
  RegisterBenchmark("crc32c_64MiB/library", poolPasses, "", 64 * kMiB, 64 * kMiB)
      ->Unit(benchmark::kMillisecond);
  RegisterBenchmark("crc32c_64MiB/three_chain_baseline", poolPasses, kThreeChains, 64 * kMiB,
                    64 * kMiB)
      ->Unit(benchmark::kMillisecond);
#if defined(__x86_64__)
  RegisterBenchmark("crc32c_64MiB/load_avx2_baseline", loadAvx2)->Unit(benchmark::kMillisecond);
  if (__builtin_cpu_supports("avx512f")) {
    RegisterBenchmark("crc32c_64MiB/load_avx512_baseline", loadAvx512)
        ->Unit(benchmark::kMillisecond);
  }
#endif
  return true;
}();

}  // namespace
