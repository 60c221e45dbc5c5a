// Token cuts, line-end cuts and splitting, held against plain references on generated texts
// full of repeated separators, line ends and overlapping tokens.
#include <gtest/gtest.h>

#include <random>

#include "GeneralUtils.h"

using namespace GeneralUtils;
using std::string;

// The references walk the text one position at a time. A cut's hit is the first or last
// position where the token starts; an empty token starts everywhere, the end included.
static size_t hit(const string& text, const string& token, bool last) {
  size_t found = string::npos;
  for (size_t i = 0; i + token.size() <= text.size(); ++i) {
    if (text.compare(i, token.size(), token) == 0 && (last || found == string::npos)) found = i;
  }
  return found;
}

static string until(const string& text, const string& token, bool last) {
  const size_t at = hit(text, token, last);
  return at == string::npos ? text : text.substr(0, at);
}

static string after(const string& text, const string& token, bool last) {
  const size_t at = hit(text, token, last);
  return text.empty() || token.empty() || at == string::npos ? "" : text.substr(at + token.size());
}

static string untilEndOfLine(const string& text) {
  for (const char end : {'\r', '\n'}) {
    for (size_t i = 0; i < text.size(); ++i) {
      if (text[i] == end) return text.substr(0, i);
    }
  }
  return text;
}

static std::vector<string> fields(const string& text, char separator) {
  std::vector<string> out(1);
  for (const char c : text) {
    if (c == separator) {
      out.emplace_back();
    } else {
      out.back() += c;
    }
  }
  return out;
}

TEST(Slicing, AgreesWithPlainReferences) {
  std::mt19937 rng(1202);
  const auto generate = [&rng](size_t most) {
    string s(rng() % (most + 1), ' ');
    for (char& c : s) c = "a/,\r\n"[rng() % 5];
    return s;
  };
  for (int n = 0; n < 20000; ++n) {
    const string text = generate(12), token = generate(3);
    const auto trace = testing::PrintToString(text) + " | " + testing::PrintToString(token);
    ASSERT_EQ(until(text, token, false), GetUntilFirstSpecifiedString(text, token)) << trace;
    ASSERT_EQ(until(text, token, true), GetUntilLastSpecifiedString(text, token)) << trace;
    ASSERT_EQ(after(text, token, false), GetTailAfterFirstSpecifiedString(text, token)) << trace;
    ASSERT_EQ(after(text, token, true), GetTailAfterLastSpecifiedString(text, token)) << trace;
    ASSERT_EQ(untilEndOfLine(text), GetUntilFirstEndOfLine(text)) << trace;
    ASSERT_EQ(fields(text, ','), splitString(text, ',')) << trace;
  }
}
