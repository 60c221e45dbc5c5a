// Token cuts, line-end cuts and splitting: fixed cases, then properties of generated text.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "GeneralUtils.h"

using namespace GeneralUtils;
using std::string;

TEST(Slicing, TokenCuts) {
  struct CutCase {
    const char *text, *token, *untilFirst, *untilLast, *afterFirst, *afterLast;
  };
  const CutCase kCuts[] = {
      // text     token   untilFirst untilLast afterFirst afterLast
      {"a/b/c", "/", "a", "a/b", "b/c", "c"},
      {"/x", "/", "", "", "x", "x"},     // only hit at position 0
      {"ab/", "/", "ab", "ab", "", ""},  // only hit at the very end
      {"abc", "/", "abc", "abc", "", ""},
      {"abc", "", "", "abc", "", ""},
      {"", "/", "", "", "", ""},
      {"x::y::z", "::", "x", "x::y", "y::z", "z"},
      {"aaa", "aa", "", "a", "a", ""},  // overlapping hits
  };
  for (const CutCase& c : kCuts) {
    SCOPED_TRACE(string(c.text) + " | " + c.token);
    EXPECT_EQ(c.untilFirst, GetUntilFirstSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.untilLast, GetUntilLastSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.afterFirst, GetTailAfterFirstSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.afterLast, GetTailAfterLastSpecifiedString(c.text, c.token));
  }
}

TEST(Slicing, UntilFirstEndOfLine) {
  struct EolCase {
    const char *text, *expected;
  };
  const EolCase kCases[] = {
      // text, expected; a carriage return wins even behind a line feed
      {"ab\ncd\ref", "ab\ncd"}, {"ab\r\ncd", "ab"}, {"\rab\n", ""}, {"\nab", ""},
      {"ab\ncd", "ab"},         {"abc", "abc"},
  };
  for (const EolCase& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    EXPECT_EQ(c.expected, GetUntilFirstEndOfLine(c.text));
  }
}

TEST(Slicing, SplitString) {
  struct SplitCase {
    string text;
    std::vector<string> fields;
  };
  const SplitCase kCases[] = {
      // text              fields
      {"", {""}},
      {"a,,b,", {"a", "", "b", ""}},
      {",,", {"", "", ""}},
      {"abc", {"abc"}},
  };
  for (const SplitCase& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.text));
    EXPECT_EQ(c.fields, splitString(c.text, ','));
  }
}

TEST(Slicing, GeneratedText) {
  std::mt19937 rng(20240611);
  // A small alphabet makes separators, repeated tokens and NUL bytes common.
  auto randomText = [&rng](size_t minLen, size_t maxLen) {
    string s(minLen + rng() % (maxLen - minLen + 1), 'a');
    for (char& c : s) c = "ab,"[rng() % 4];  // the fourth is the terminating NUL
    return s;
  };
  for (int i = 0; i < 4000; ++i) {
    const string text = randomText(0, 16), token = randomText(1, 3);
    SCOPED_TRACE(testing::PrintToString(text) + " | " + testing::PrintToString(token));
    const std::vector<string> fields = splitString(text, ',');
    string joined = fields.at(0);
    for (size_t f = 1; f < fields.size(); ++f) joined += "," + fields[f];
    EXPECT_EQ(text, joined);
    EXPECT_EQ(static_cast<size_t>(std::count(text.begin(), text.end(), ',')) + 1, fields.size());

    const string untilFirst = GetUntilFirstSpecifiedString(text, token);
    const string untilLast = GetUntilLastSpecifiedString(text, token);
    const string afterFirst = GetTailAfterFirstSpecifiedString(text, token);
    const string afterLast = GetTailAfterLastSpecifiedString(text, token);
    if (text.find(token) == string::npos) {
      EXPECT_EQ((std::vector<string>{text, text, "", ""}),
                (std::vector<string>{untilFirst, untilLast, afterFirst, afterLast}));
      continue;
    }
    EXPECT_EQ(text, string(untilFirst).append(token).append(afterFirst));
    EXPECT_EQ(text, string(untilLast).append(token).append(afterLast));
    // No hit before the first cut, none behind the last one.
    EXPECT_EQ(untilFirst.size(), (untilFirst + token).find(token));
    EXPECT_EQ(0u, (token + afterLast).rfind(token));
  }
}
