// Command output capture through real shell commands.
#include <gtest/gtest.h>

#include <string>

#include "GeneralUtils.h"

using std::string;

TEST(Process, CapturesStandardOutput) {
  struct CommandCase {
    const char* cmd;
    string expected;
  };
  const CommandCase kCases[] = {
      // cmd, expected
      {nullptr, ""},
      {"true", ""},
      // Only standard output counts, and a failing command's output is kept.
      {"echo out; echo err >&2; exit 3", "out\n"},
      // The first piece is 127 bytes; the NUL at byte 10 drops its other 116.
      {"printf 'aaaaaaaaaa\\0%0189d\\n' 0", "aaaaaaaaaa" + string(73, '0') + "\n"},
      // Several MiB in one line, which comes back whole from its 127-byte pieces.
      {"printf '%05000000d\\n' 0", string(5000000, '0') + "\n"},
  };
  // Not EXPECT_EQ: a failure would print megabytes.
  for (const CommandCase& c : kCases)
    EXPECT_TRUE(c.expected == GeneralUtils::execCommandAndSaveOutput(c.cmd)) << c.cmd;
}
