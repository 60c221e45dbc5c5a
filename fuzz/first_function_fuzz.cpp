// GetFirstFunctionNameAndCount on arbitrary chain texts.
#include <stdexcept>

#include "GeneralUtils.h"
#include "fuzz_check.h"

namespace {

// The text as the function reads it: blanks dropped except one behind a comma, and a blank
// put between two touching '>'. The previous character is the input's, kept or not.
std::string normalise(const std::string& text) {
  std::string s;
  char previous = '\0';
  for (const char c : text) {
    if (c != ' ' || previous == ',') {
      if (c == '>' && previous == '>') s += ' ';
      s += c;
    }
    previous = c;
  }
  return s;
}

bool wrapped(const std::string& s) {
  return s.find("templates.__funcTemplate<decltype") != std::string::npos ||
         s.find("__func.__funcTemplate<") != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzzText(data, size);
  const std::string s = normalise(text);
  // The first call's '(' behind the leading run of '('.
  const size_t call = s.find('(', s.find_first_not_of('('));
  const std::string kUntouched = "untouched";
  std::string name = kUntouched;
  UINT count = 0;
  try {
    count = GeneralUtils::GetFirstFunctionNameAndCount(text, name);
  } catch (const std::length_error&) {
    FUZZ_CHECK(name == kUntouched);
    FUZZ_CHECK(!s.empty() && s[0] == '(' && call == std::string::npos);
    return 0;
  } catch (...) {
    std::fprintf(stderr, "an exception other than std::length_error left the function\n");
    std::abort();
  }
  FUZZ_CHECK(count >= 1);
  if (wrapped(s)) {
    FUZZ_CHECK(name == "__funcTemplate<" && count == 1);
    return 0;
  }
  if (call == std::string::npos) {
    // No call at all: a leading '(' run without one throws, and otherwise the empty name is
    // found at every position behind the first.
    FUZZ_CHECK(s.empty() || s[0] != '(');
    FUZZ_CHECK(name.empty() && count == s.size() + 1);
    return 0;
  }
  // The name ends with the first call's '(' and starts behind the last '.' or "->" before it.
  FUZZ_CHECK(!name.empty() && name.back() == '(' && name.size() <= call + 1);
  FUZZ_CHECK(s.compare(call + 1 - name.size(), name.size(), name) == 0);
  FUZZ_CHECK(name.find('.') == std::string::npos && name.find("->") == std::string::npos);

  // Appending '.' and the name adds exactly one hit: the name holds no '.', so no hit can
  // straddle the join. The name is written so that it reads back as itself: "> >" as ">>"
  // and ">>" as "> >". A name that starts with the blank of "->>" can't follow a '.'.
  if (name[0] == ' ') return 0;
  std::string raw;
  for (size_t i = 0; i < name.size(); ++i) {
    const bool afterGt = i > 0 && name[i - 1] == '>';
    if (name[i] == ' ' && afterGt) continue;
    if (name[i] == '>' && afterGt) raw += ' ';
    raw += name[i];
  }
  const std::string longer = text + "." + raw;
  if (wrapped(normalise(longer))) return 0;
  std::string again;
  FUZZ_CHECK(GeneralUtils::GetFirstFunctionNameAndCount(longer, again) == count + 1);
  FUZZ_CHECK(again == name);
  return 0;
}
