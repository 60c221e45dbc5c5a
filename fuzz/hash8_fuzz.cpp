// Create8CharacterHash: a decimal number, '0'-padded on the right and cut to 8 characters.
#include "GeneralUtils.h"
#include "fuzz_check.h"

namespace {

bool digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string hash = GeneralUtils::Create8CharacterHash(fuzzText(data, size));
  FUZZ_CHECK(hash.size() == 8);
  FUZZ_CHECK(hash[0] == '-' || digit(hash[0]));
  for (size_t i = 1; i < hash.size(); ++i) FUZZ_CHECK(digit(hash[i]));
  // A decimal has no leading zero, so a '0' in front is the whole number zero, padded.
  FUZZ_CHECK(hash[0] != '0' || hash == "00000000");
  FUZZ_CHECK(hash[0] != '-' || hash[1] != '0');
  return 0;
}
