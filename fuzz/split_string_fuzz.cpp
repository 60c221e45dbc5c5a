// splitString: the first byte is the separator, the rest the text.
#include <algorithm>

#include "GeneralUtils.h"
#include "fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const char sep = static_cast<char>(data[0]);
  const std::string text = fuzzText(data + 1, size - 1);
  const std::vector<std::string> fields = GeneralUtils::splitString(text, sep);
  FUZZ_CHECK(fields.size() == static_cast<size_t>(std::count(text.begin(), text.end(), sep)) + 1);
  std::string joined = fields[0];
  for (size_t i = 1; i < fields.size(); ++i) joined += sep + fields[i];
  FUZZ_CHECK(joined == text);
  return 0;
}
