// crc32c beside crc32cBitwise (one bit per step, the fallback on processors without SSE4.2)
// on the fingerprint's 20-byte text, 4 KiB and 1 MiB, and beside a plain one-chain loop of
// the crc32 instruction on 1 MiB and 16 MiB, which shows what the three chains gain.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "GeneralUtils.h"

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

namespace {

using CrcFunction = uint32_t (*)(uint32_t, const unsigned char*, size_t);

const size_t kKiB = 1024;
const size_t kMiB = 1024 * kKiB;

// 16 MiB of xorshift bytes, made once per process and shared by every size.
const std::vector<unsigned char>& pool() {
  static const std::vector<unsigned char> bytes = [] {
    std::vector<unsigned char> block(16 * kMiB);
    uint32_t x = 2463534242u;
    for (unsigned char& b : block) {
      x ^= x << 13, x ^= x >> 17, x ^= x << 5;
      b = static_cast<unsigned char>(x >> 24);
    }
    return block;
  }();
  return bytes;
}

#if defined(__x86_64__)

// The crc32 instruction in the plainest loop: one chain, 8 bytes a step, the rest a byte at a
// time. Each step waits for the previous one, so the instruction's latency sets the pace.
__attribute__((target("sse4.2"), noinline)) uint32_t crcOneChain(uint32_t crc,
                                                                 const unsigned char* p,
                                                                 size_t len) {
  uint64_t c = ~crc;
  for (; len >= 8; len -= 8, p += 8) {
    uint64_t word;
    std::memcpy(&word, p, sizeof(word));
    c = _mm_crc32_u64(c, word);
  }
  for (; len > 0; --len) c = _mm_crc32_u8(static_cast<uint32_t>(c), *p++);
  return ~static_cast<uint32_t>(c);
}

#endif

// False when Crc would stop the process with an illegal instruction.
bool runsHere(CrcFunction crc) {
#if defined(__x86_64__)
  if (crc == crcOneChain) return __builtin_cpu_supports("sse4.2");
#else
  (void)crc;
#endif
  return true;
}

// Each pass takes the next kLen bytes of the pool's first kSpan bytes, so a 4 KiB pass does
// not see the same bits every time; at 1 MiB and 16 MiB kSpan is the length itself.
template <CrcFunction Crc, size_t kLen, size_t kSpan>
void BM_Pool(benchmark::State& state) {
  if (!runsHere(Crc)) return state.SkipWithError("the processor lacks SSE4.2");
  const unsigned char* const data = pool().data();
  size_t at = 0;
  for ([[maybe_unused]] auto _ : state) {
    const uint32_t crc = Crc(0, data + at, kLen);
    benchmark::DoNotOptimize(crc);
    at = (at + kLen) % kSpan;
  }
  if (Crc(0, data, kLen) != GeneralUtils::crc32c(0, data, kLen)) {
    state.SkipWithError("baseline disagrees with crc32c");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kLen));
}

// The text GetSystemFingerprint takes the CRC of, with one more character: 20 bytes.
template <CrcFunction Crc>
void BM_Fingerprint(benchmark::State& state) {
  static const char kText[] = "00ABbuild011F2E1260x";
  const size_t len = sizeof(kText) - 1;
  const unsigned char* const text = reinterpret_cast<const unsigned char*>(kText);
  for ([[maybe_unused]] auto _ : state) {
    benchmark::DoNotOptimize(text);
    const uint32_t crc = Crc(0, text, len);
    benchmark::DoNotOptimize(crc);
  }
  if (Crc(0, text, len) != GeneralUtils::crc32c(0, text, len)) {
    state.SkipWithError("baseline disagrees with crc32c");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * len));
}

}  // namespace

using GeneralUtils::crc32c;
using GeneralUtils::crc32cBitwise;

BENCHMARK(BM_Fingerprint<crc32c>)->Name("crc32c_20B/library");
BENCHMARK(BM_Fingerprint<crc32cBitwise>)->Name("crc32c_20B/bitwise_baseline");
BENCHMARK(BM_Pool<crc32c, 4 * kKiB, kMiB>)->Name("crc32c_4KiB/library");
BENCHMARK(BM_Pool<crc32cBitwise, 4 * kKiB, kMiB>)->Name("crc32c_4KiB/bitwise_baseline");
BENCHMARK(BM_Pool<crc32c, kMiB, kMiB>)->Name("crc32c_1MiB/library");
BENCHMARK(BM_Pool<crc32cBitwise, kMiB, kMiB>)
    ->Name("crc32c_1MiB/bitwise_baseline")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pool<crc32c, 16 * kMiB, 16 * kMiB>)->Name("crc32c_16MiB/library");
#if defined(__x86_64__)
BENCHMARK(BM_Pool<crcOneChain, kMiB, kMiB>)->Name("crc32c_1MiB/one_chain_baseline");
BENCHMARK(BM_Pool<crcOneChain, 16 * kMiB, 16 * kMiB>)->Name("crc32c_16MiB/one_chain_baseline");
#endif
