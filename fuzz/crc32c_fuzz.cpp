// crc32c against its bit-by-bit reference: the first 4 bytes are the starting crc, the rest
// the data, checked as given and tiled past three 4 KiB lanes so that long inputs' path runs
// on every input. Every split point of a short input must chain to the one-call value.
#include <cstring>
#include <vector>

#include "GeneralUtils.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint32_t crc = 0;
  if (size >= sizeof(crc)) {
    std::memcpy(&crc, data, sizeof(crc));
    data += sizeof(crc);
    size -= sizeof(crc);
  }
  using GeneralUtils::crc32c;
  using GeneralUtils::crc32cBitwise;
  const uint32_t whole = crc32cBitwise(crc, data, size);
  FUZZ_CHECK(crc32c(crc, data, size) == whole);
  if (size <= 64) {
    for (size_t split = 0; split <= size; ++split) {
      FUZZ_CHECK(crc32c(crc32c(crc, data, split), data + split, size - split) == whole);
    }
  }
  if (size == 0) return 0;
  // Odd extra length and an odd start, so that the lanes begin unaligned and a tail is left.
  std::vector<uint8_t> tiled(3 * 4096 + 1 + size % 4099);
  for (size_t i = 0; i < tiled.size(); ++i) tiled[i] = data[i % size];
  FUZZ_CHECK(crc32c(crc, &tiled[1], tiled.size() - 1) ==
             crc32cBitwise(crc, &tiled[1], tiled.size() - 1));
  return 0;
}
