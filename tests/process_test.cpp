// Command output capture through real shell commands: what it keeps, signals, and the
// descriptors a command inherits.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::execCommandAndSaveOutput;
using std::string;

namespace {

using Process = gutest::TempDirTest;

TEST_F(Process, StandardOutputOnly) {
  struct CommandCase {
    const char* cmd;
    string expected;
  };
  const CommandCase kCases[] = {
      // cmd, expected
      {nullptr, ""},
      {"true", ""},
      {"echo err >&2", ""},
      // A failing command's output is kept.
      {"echo out; echo err >&2; exit 3", "out\n"},
      // The first piece is 127 bytes; the NUL at byte 10 drops its other 116.
      {"printf 'aaaaaaaaaa\\0%0189d\\n' 0", "aaaaaaaaaa" + string(73, '0') + "\n"},
  };
  for (const CommandCase& c : kCases) EXPECT_EQ(c.expected, execCommandAndSaveOutput(c.cmd));
}

// The plain loop the capture must match byte for byte: fgets() into 128 bytes, each piece
// appended as a C string.
string fgetsLoop(const string& cmd) {
  string result;
  FILE* pipe = ::popen(cmd.c_str(), "re");
  char buffer[128];
  while (pipe != nullptr && fgets(buffer, sizeof(buffer), pipe) != nullptr) result += buffer;
  if (pipe != nullptr) ::pclose(pipe);
  return result;
}

TEST_F(Process, PiecesAsFgetsCutsThem) {
  std::mt19937 rng(4711);
  for (int i = 0; i < 40; ++i) {
    // Lengths from nothing to past several 64 KiB blocks; lines from 1 byte to 1000, NULs
    // often, and the last line usually without its '\n'.
    string out(rng() % (i < 20 ? 600 : 300000), 'x');
    const unsigned lineEvery = 1 + rng() % 1000;
    for (char& c : out) {
      const unsigned r = rng();
      c = r % lineEvery == 0 ? '\n' : r % 97 == 0 ? '\0' : static_cast<char>('a' + r % 26);
    }
    gutest::writeFile(path("out"), out);
    const string cmd = "cat " + path("out");
    EXPECT_TRUE(fgetsLoop(cmd) == execCommandAndSaveOutput(cmd.c_str())) << "output " << i;
  }
  // Several MiB in one line comes back whole from its 127-byte pieces.
  EXPECT_EQ(string(5000000, '0') + "\n", execCommandAndSaveOutput("printf '%05000000d\\n' 0"));
}

TEST_F(Process, NoByteLostToASignal) {
  // A handler without SA_RESTART, every 3 ms: each read() that waits on the slow command is
  // interrupted at least once.
  struct sigaction action {
  }, old{};
  action.sa_handler = [](int) {};
  ASSERT_EQ(0, ::sigaction(SIGALRM, &action, &old));
  const itimerval every3ms = {{0, 3000}, {0, 3000}}, off = {};
  ::setitimer(ITIMER_REAL, &every3ms, nullptr);
  const string got = execCommandAndSaveOutput(
      "i=0; while [ $i -lt 60 ]; do printf 0123456789; sleep 0.01; i=$((i+1)); done");
  ::setitimer(ITIMER_REAL, &off, nullptr);
  ::sigaction(SIGALRM, &old, nullptr);
  string expected;
  for (int i = 0; i < 60; ++i) expected += "0123456789";
  EXPECT_EQ(expected, got);
}

TEST_F(Process, CommandsInheritNoDescriptorOfOurs) {
  gutest::writeFile(path("a"), string(1 << 20, 'a'));
  gutest::writeFile(path("b"), string(1 << 20, 'a'));
  gutest::writeFile(path(".did"), "cid\n");
  const char* kListFds = "ls /proc/self/fd";
  const string alone = execCommandAndSaveOutput(kListFds);
  ASSERT_NE("", alone);
  // Other threads hold files, the interface socket and a capture pipe open the whole time.
  std::atomic<bool> stop(false);
  std::vector<std::thread> busy;
  busy.emplace_back([&] {
    while (!stop) GeneralUtils::CompareFiles(path("a"), path("b"));
  });
  busy.emplace_back([&] {
    while (!stop) GeneralUtils::copyFileWr(path("a"), path("copy"));
  });
  busy.emplace_back([&] {
    while (!stop) GeneralUtils::GetCidFromFile(dir_) + std::to_string(GeneralUtils::getMacHash());
  });
  busy.emplace_back([&] {
    while (!stop) execCommandAndSaveOutput("head -c 100000 /dev/zero");
  });
  int leaked = 0;
  for (int i = 0; i < 150; ++i) leaked += execCommandAndSaveOutput(kListFds) != alone;
  stop = true;
  for (std::thread& t : busy) t.join();
  EXPECT_EQ(0, leaked) << "of 150 commands saw descriptors beyond\n" << alone;
}

}  // namespace
