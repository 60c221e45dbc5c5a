// GetUntilFirstEndOfLine: the longest prefix the rule allows, ending at the first '\r' when
// there is one anywhere, else at the first '\n', else the whole text.
#include "GeneralUtils.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzzText(data, size);
  const std::string line = GeneralUtils::GetUntilFirstEndOfLine(text);
  const bool hasCr = text.find('\r') != std::string::npos;
  FUZZ_CHECK(text.compare(0, line.size(), line) == 0 && line.size() <= text.size());
  FUZZ_CHECK(line.find('\r') == std::string::npos);
  FUZZ_CHECK(hasCr || line.find('\n') == std::string::npos);
  // Whatever stops the line is the character the rule stops at.
  if (line.size() < text.size()) FUZZ_CHECK(text[line.size()] == (hasCr ? '\r' : '\n'));
  return 0;
}
