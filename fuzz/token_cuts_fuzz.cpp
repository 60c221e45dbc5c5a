// The four token cuts together: the first byte gives the token's length (mod 8), the token
// comes next, and the rest is the text. Each pair of cuts must rebuild the text around its hit.
#include <algorithm>

#include "GeneralUtils.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const size_t length = std::min<size_t>(data[0] % 8, size - 1);
  const std::string token = fuzzText(data + 1, length);
  const std::string text = fuzzText(data + 1 + length, size - 1 - length);
  const std::string untilFirst = GeneralUtils::GetUntilFirstSpecifiedString(text, token);
  const std::string untilLast = GeneralUtils::GetUntilLastSpecifiedString(text, token);
  const std::string afterFirst = GeneralUtils::GetTailAfterFirstSpecifiedString(text, token);
  const std::string afterLast = GeneralUtils::GetTailAfterLastSpecifiedString(text, token);
  if (token.empty()) {
    // The first empty hit stands at 0 and the last at the end; the tails give up at once.
    FUZZ_CHECK(untilFirst.empty() && untilLast == text);
    FUZZ_CHECK(afterFirst.empty() && afterLast.empty());
    return 0;
  }
  if (text.find(token) == std::string::npos) {
    FUZZ_CHECK(untilFirst == text && untilLast == text);
    FUZZ_CHECK(afterFirst.empty() && afterLast.empty());
    return 0;
  }
  FUZZ_CHECK(untilFirst + token + afterFirst == text);
  FUZZ_CHECK(untilLast + token + afterLast == text);
  // No hit may start before the first one or behind the last one; any such hit lies wholly
  // inside the piece searched here.
  FUZZ_CHECK((untilFirst + token).find(token) == untilFirst.size());
  FUZZ_CHECK((token + afterLast).rfind(token) == 0);
  return 0;
}
