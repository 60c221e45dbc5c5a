// Token cuts, line-end cuts and splitting.
#include <gtest/gtest.h>

#include "GeneralUtils.h"

using namespace GeneralUtils;
using std::string;

TEST(Slicing, FixedCases) {
  // Rows: the only hit at position 0; the only hit at the very end, behind a leading line feed;
  // a miss; an empty token; an empty text; a token of two characters; overlapping hits, where
  // a carriage return ends the line even behind an earlier line feed.
  const struct {
    string text, token, untilFirst, untilLast, afterFirst, afterLast, untilEol;
    std::vector<string> fields;  // split at ','
  } kCases[] = {
      // text, token, untilFirst, untilLast, afterFirst, afterLast, untilEol, fields
      {"/x", "/", "", "", "x", "x", "/x", {"/x"}},
      {"\na,b/", "/", "\na,b", "\na,b", "", "", "", {"\na", "b/"}},
      {"a,,b,", "/", "a,,b,", "a,,b,", "", "", "a,,b,", {"a", "", "b", ""}},
      {"\ra\n", "", "", "\ra\n", "", "", "", {"\ra\n"}},
      {"", "/", "", "", "", "", "", {""}},
      {"x::y\n::z", "::", "x", "x::y\n", "y\n::z", "z", "x::y", {"x::y\n::z"}},
      {"a\naaa\rb", "aa", "a\n", "a\na", "a\rb", "\rb", "a\naaa", {"a\naaa\rb"}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.text) + " | " + c.token);
    EXPECT_EQ(c.untilFirst, GetUntilFirstSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.untilLast, GetUntilLastSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.afterFirst, GetTailAfterFirstSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.afterLast, GetTailAfterLastSpecifiedString(c.text, c.token));
    EXPECT_EQ(c.untilEol, GetUntilFirstEndOfLine(c.text));
    EXPECT_EQ(c.fields, splitString(c.text, ','));
  }
}
