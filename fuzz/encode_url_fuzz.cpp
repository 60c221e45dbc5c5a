// EncodeURL in the C locale: the output decodes to the input, and escapes exactly the bytes
// outside the unreserved set, each as '%' and two upper-case hex digits.
#include <clocale>

#include "GeneralUtils.h"
#include "fuzz_check.h"

namespace {

// Spelled out rather than isalnum(), so the harness doesn't share the code's locale lookup.
const std::string kUnreserved =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.~";
const std::string kHex = "0123456789ABCDEF";

bool unreserved(char c) { return kUnreserved.find(c) != std::string::npos; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool kCLocale = std::setlocale(LC_ALL, "C") != nullptr;
  FUZZ_CHECK(kCLocale);
  const std::string text = fuzzText(data, size);
  const std::string out = GeneralUtils::EncodeURL(text);
  std::string decoded;
  for (size_t i = 0; i < out.size(); ++i) {
    if (out[i] != '%') {
      FUZZ_CHECK(unreserved(out[i]));
      decoded += out[i];
      continue;
    }
    FUZZ_CHECK(i + 2 < out.size());
    const size_t hi = kHex.find(out[i + 1]);
    const size_t lo = kHex.find(out[i + 2]);
    FUZZ_CHECK(hi != std::string::npos && lo != std::string::npos);
    const char byte = static_cast<char>(hi * 16 + lo);
    // An escaped unreserved byte would decode just as well, so the round trip misses it.
    FUZZ_CHECK(!unreserved(byte));
    decoded += byte;
    i += 2;
  }
  FUZZ_CHECK(decoded == text);
  return 0;
}
