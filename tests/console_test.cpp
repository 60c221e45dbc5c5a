// Console line input, read by console_probe from a real pipe on its standard input. The
// pipe is closed once the input is written, so end of input is real.
#include <tuple>

#include "test_support.h"

using std::string;
using namespace std::string_literals;

TEST(Console, ReadsLinesFromStandardInput) {
  const std::tuple<string, string, string> kCases[] = {
      // input, ops (see console_probe.cpp), expected output
      // The limit of 5 cuts the first line; a line starting with NUL reads as empty.
      {"abcdefg\n\0ab\ncd\n"s, "l5 r5 l8 l8", "[abcd]\n{efg\0\0}\n[]\n[cd]\n"s},
      // The line feed left behind makes an empty line, like a real one; CR stays.
      {"abcd\nxy\n\nab\r\n", "l5 l5 l5 l5 l5", "[abcd]\n[]\n[xy]\n[]\n[ab\r]\n"},
      // A last line without '\n', then end of input, where the buffer still gets its NUL.
      {"ab", "l5 r4 c l5", "[ab]\n{\0XXX}\n[]\n"s},
      // Limits below 2 read nothing.
      {"ab\n", "l0 l-3 l1 r1 l5", "[]\n[]\n[]\n{\0}\n[ab]\n"s},
      // Clean drops the rest of a line; after a whole line it swallows the next one.
      {"abcdefg\nhi\njk\n", "l5 c l5 c l5", "[abcd]\n[hi]\n[]\n"},
  };
  for (const auto& [input, ops, expected] : kCases) {
    const auto r = gutest::runShell(GU_PROBES "/console_probe " + ops, input);
    EXPECT_EQ(0, r.status) << ops << ": " << r.err;
    EXPECT_EQ(expected, r.out) << ops;
  }
}
