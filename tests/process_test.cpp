// Command output capture through real shell commands.
#include <gtest/gtest.h>

#include <string>

#include "GeneralUtils.h"

using GeneralUtils::execCommandAndSaveOutput;
using std::string;

TEST(Process, CapturesStandardOutput) {
  const size_t kTenMiB = size_t{10} << 20;
  const string line(300, 'q');
  string big;  // many lines, each longer than a piece
  while (big.size() < kTenMiB) big += line + "\n";
  big.resize(kTenMiB);
  struct CommandCase {
    string cmd, expected;
  };
  const CommandCase kCases[] = {
      // cmd                                   expected
      {"true", ""},
      {"printf abc", "abc"},
      {"echo abc", "abc\n"},
      {"printf '%0127d\\n' 0", string(127, '0') + "\n"},  // one full piece, then the '\n'
      {"printf '%01000d\\n' 0", string(1000, '0') + "\n"},
      {"echo out; echo err >&2", "out\n"},
      {"echo out; exit 3", "out\n"},
      // fgets stops at the '\n' with "ab\0cd\n"; only "ab" of that piece counts.
      {"printf 'ab\\0cd\\nef\\n'", "abef\n"},
      // The first piece is 127 bytes; the NUL at byte 10 drops its other 116.
      {"printf 'aaaaaaaaaa\\0%0189d\\n' 0", "aaaaaaaaaa" + string(73, '0') + "\n"},
      {"no-such-command-here", ""},
      {"yes " + line + " | head -c " + std::to_string(kTenMiB), big},
  };
  for (const CommandCase& c : kCases) {
    SCOPED_TRACE(c.cmd);
    const string out = execCommandAndSaveOutput(c.cmd.c_str());
    // Not EXPECT_EQ: a failure would print megabytes.
    EXPECT_TRUE(c.expected == out) << out.size() << " bytes: " << out.substr(0, 200);
  }
  EXPECT_EQ("", execCommandAndSaveOutput(nullptr));
}
