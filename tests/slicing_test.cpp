// Token cuts, line-end cuts and splitting: fixed cases, then properties of generated text.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "GeneralUtils.h"

using namespace GeneralUtils;
using std::string;

TEST(Slicing, FixedCases) {
  struct SliceCase {
    string text, token, untilFirst, untilLast, afterFirst, afterLast, untilEol;
    std::vector<string> fields;  // split at ','
  };
  // Rows: the only hit at position 0; the only hit at the very end, behind a leading line feed;
  // a miss; an empty token; an empty text; a token of two characters; overlapping hits, where
  // a carriage return ends the line even behind an earlier line feed.
  const SliceCase kCases[] = {
      // text, token, untilFirst, untilLast, afterFirst, afterLast, untilEol, fields
      {"/x", "/", "", "", "x", "x", "/x", {"/x"}},
      {"\na,b/", "/", "\na,b", "\na,b", "", "", "", {"\na", "b/"}},
      {"a,,b,", "/", "a,,b,", "a,,b,", "", "", "a,,b,", {"a", "", "b", ""}},
      {"\ra\n", "", "", "\ra\n", "", "", "", {"\ra\n"}},
      {"", "/", "", "", "", "", "", {""}},
      {"x::y\n::z", "::", "x", "x::y\n", "y\n::z", "z", "x::y", {"x::y\n::z"}},
      {"a\naaa\rb", "aa", "a\n", "a\na", "a\rb", "\rb", "a\naaa", {"a\naaa\rb"}},
  };
  for (const SliceCase& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.text) + " | " + c.token);
    EXPECT_EQ(c.untilFirst, GetUntilFirstSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.untilLast, GetUntilLastSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.afterFirst, GetTailAfterFirstSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.afterLast, GetTailAfterLastSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.untilEol, GetUntilFirstEndOfLine(c.text));
    EXPECT_EQ(c.fields, splitString(c.text, ','));
  }
}

TEST(Slicing, GeneratedText) {
  std::mt19937 rng(20240611);
  for (int i = 0; i < 500; ++i) {
    // A small alphabet makes separators, repeated tokens and NUL bytes common.
    string s(4 + rng() % 16, 'a');
    for (char& c : s) c = "ab,"[rng() % 4];  // the fourth is the terminating NUL
    const string token = s.substr(0, 1 + rng() % 3), text = s.substr(3);
    SCOPED_TRACE(testing::PrintToString(text) + " | " + testing::PrintToString(token));
    const std::vector<string> fields = splitString(text, ',');
    string joined;
    for (const string& f : fields) joined += "," + f;
    EXPECT_EQ("," + text, joined);
    EXPECT_EQ(std::count(text.begin(), text.end(), ',') + 1, static_cast<long>(fields.size()));
    if (text.find(token) == string::npos) continue;
    EXPECT_EQ(text, GetUntilFirstSpecifiedString(text, token) + token +
                        GetTailAfterFirstSpecifiedString(text, token));
    EXPECT_EQ(text, GetUntilLastSpecifiedString(text, token) + token +
                        GetTailAfterLastSpecifiedString(text, token));
  }
}
