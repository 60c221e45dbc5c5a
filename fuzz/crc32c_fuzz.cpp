// Every path of crc32cPaths() against crc32cBitwise: the first 4 bytes are the starting crc,
// the rest the data, checked as given and tiled past the long inputs' blocks (8.5 KiB, 12 KiB
// and 14 KiB) so that their paths run on every input. Two calls must chain to the one-call
// value at every split point of a short input, and at one drawn from the input in the tiled.
#include <cstring>
#include <string>
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
  using GeneralUtils::crc32cBitwise;
  using GeneralUtils::crc32cOnPath;
  static const std::vector<std::string> paths = GeneralUtils::crc32cPaths();
  const uint32_t whole = crc32cBitwise(crc, data, size);
  FUZZ_CHECK(GeneralUtils::crc32c(crc, data, size) == whole);
  // Odd extra length and an odd start, so that the blocks begin unaligned and a tail is left.
  std::vector<uint8_t> tiled(size == 0 ? 0 : 2 * 14336 + 1 + size % 4099);
  for (size_t i = 0; i < tiled.size(); ++i) tiled[i] = data[i % size];
  const uint8_t* const t = tiled.empty() ? nullptr : &tiled[1];
  const size_t tLen = tiled.empty() ? 0 : tiled.size() - 1;
  const uint32_t tWhole = crc32cBitwise(crc, t, tLen);
  for (const std::string& path : paths) {
    FUZZ_CHECK(crc32cOnPath(path, crc, data, size) == whole);
    for (size_t split = 0; size <= 300 && split <= size; ++split) {
      FUZZ_CHECK(crc32cOnPath(path, crc32cOnPath(path, crc, data, split), data + split,
                              size - split) == whole);
    }
    if (tLen == 0 || path == "bitwise") continue;
    FUZZ_CHECK(crc32cOnPath(path, crc, t, tLen) == tWhole);
    const size_t split = (static_cast<size_t>(crc) ^ size) % (tLen + 1);
    FUZZ_CHECK(crc32cOnPath(path, crc32cOnPath(path, crc, t, split), t + split, tLen - split) ==
               tWhole);
  }
  return 0;
}
