// crc32c on 4 KiB beside two bit-at-a-time baselines: one with a real branch per bit, and
// the fastest branch-free form of one bit per step that we know.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "GeneralUtils.h"

namespace {

const uint32_t kPoly = 0x82f63b78;

std::vector<unsigned char> randomBytes(size_t n) {
  std::vector<unsigned char> block(n);
  uint32_t x = 2463534242u;
  for (unsigned char& b : block) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    b = static_cast<unsigned char>(x >> 24);
  }
  return block;
}

// The empty asm in the taken arm is opaque to the optimiser, so it can't merge the two arms
// into a conditional move or a mask: each bit stays a conditional jump on random data.
__attribute__((noinline)) uint32_t crcBranchy(uint32_t crc, const unsigned char* buf, size_t len) {
  crc = ~crc;
  for (size_t i = 0; i < len; ++i) {
    crc ^= buf[i];
    for (int k = 0; k < 8; ++k) {
      if (crc & 1) {
        crc = (crc >> 1) ^ kPoly;
        asm volatile("" : "+r"(crc));
      } else {
        crc >>= 1;
      }
    }
  }
  return ~crc;
}

// The fastest one-bit step we know: both outcomes are ready after the shift, and a select on
// the low bit (a conditional move) picks one, a chain of three operations per bit where the
// all-ones mask takes four. Mask forms built by negation or arithmetic shift time the same as
// the library.
__attribute__((noinline)) uint32_t crcSelect(uint32_t crc, const unsigned char* buf, size_t len) {
  crc = ~crc;
  for (size_t i = 0; i < len; ++i) {
    crc ^= buf[i];
    for (int k = 0; k < 8; ++k) crc = (crc & 1) ? (crc >> 1) ^ kPoly : crc >> 1;
  }
  return ~crc;
}

// Each pass takes the next 4 KiB of a 1 MiB pool: a block seen again every pass would let
// the branch predictor learn its bits and flatter the branchy baseline.
template <uint32_t (*Crc)(uint32_t, const unsigned char*, size_t)>
void BM_Crc(benchmark::State& state) {
  const size_t kBlock = 4096;
  const std::vector<unsigned char> pool = randomBytes(256 * kBlock);
  size_t at = 0;
  for ([[maybe_unused]] auto _ : state) {
    const uint32_t crc = Crc(0, pool.data() + at, kBlock);
    benchmark::DoNotOptimize(crc);
    at = (at + kBlock) % pool.size();
  }
  if (Crc(0, pool.data(), kBlock) != GeneralUtils::crc32c(0, pool.data(), kBlock)) {
    state.SkipWithError("baseline disagrees with crc32c");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock));
}

}  // namespace

BENCHMARK(BM_Crc<GeneralUtils::crc32c>)->Name("crc32c_4KiB/library");
BENCHMARK(BM_Crc<crcBranchy>)->Name("crc32c_4KiB/branchy_baseline");
BENCHMARK(BM_Crc<crcSelect>)->Name("crc32c_4KiB/select_baseline");
