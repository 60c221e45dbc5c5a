// Console line input, read by console_probe from a real pipe on its standard input. The
// pipe is closed once the input is written, so end of input is real.
#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

using std::string;
using namespace std::string_literals;

TEST(Console, ReadsLinesFromStandardInput) {
  struct ConsoleCase {
    string input, ops, expected;
  };
  const ConsoleCase kCases[] = {
      // input, ops (see console_probe.cpp), expected output
      {"abcdefg\n", "line 5 line 5", "[abcd]\n[efg]\n"},
      {"abcd\nxy\n", "line 5 line 5 line 5", "[abcd]\n[]\n[xy]\n"},
      {"ab\n", "line 10", "[ab]\n"},
      {"\nab\n", "line 5 line 5", "[]\n[ab]\n"},
      {"ab\r\n", "line 10", "[ab\r]\n"},
      {"ab", "line 5 line 5", "[ab]\n[]\n"},  // a last line without '\n', then end of input
      {"", "line 5 raw 4", "[]\n{\\0XXX}\n"},
      {"ab\n", "raw 5", "{ab\\0\\0X}\n"},
      {"ab\n", "line 0 line -3 raw 0 line 5", "[]\n[]\n{X}\n[ab]\n"},
      {"ab\n", "line 1 raw 1 line 5", "[]\n{\\0}\n[ab]\n"},
      {"\0ab\ncd\n"s, "line 8 line 8", "[]\n[cd]\n"},
      {"abcdefg\nhi\n", "line 5 clean line 5", "[abcd]\n<clean>\n[hi]\n"},
      {"ab\ncd\nef\n", "line 5 clean line 5", "[ab]\n<clean>\n[ef]\n"},  // no look-ahead
      {"", "clean clean line 5", "<clean>\n<clean>\n[]\n"},
  };
  for (const ConsoleCase& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.input) + " | " + c.ops);
    const gutest::RunResult r = gutest::run({gutest::probe("console_probe"), c.ops}, c.input);
    EXPECT_EQ(0, r.status) << r.err;
    EXPECT_EQ(c.expected, r.out);
  }
}
