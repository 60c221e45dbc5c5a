// Command output capture through real shell commands: what it keeps, signals, and the
// descriptors a command inherits.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::execCommandAndSaveOutput;
using std::string;
using Process = gutest::TempDirTest;

TEST_F(Process, StandardOutputOnly) {
  // Standard error is not captured, a failing command's output is kept, and a null command
  // runs nothing. (How pieces, NULs and line ends come back: PiecesAsFgetsCutsThem.)
  const std::pair<const char*, string> kCases[] = {
      {nullptr, ""}, {"echo err >&2", ""}, {"echo out; echo err >&2; exit 3", "out\n"}};
  for (const auto& [cmd, expected] : kCases) EXPECT_EQ(expected, execCommandAndSaveOutput(cmd));
}

// The plain loop the capture must match byte for byte: fgets() into 128 bytes, each piece
// appended as a C string.
static string fgetsLoop(const string& cmd) {
  string result;
  char buffer[128];
  FILE* pipe = ::popen(cmd.c_str(), "re");
  while (pipe != nullptr && fgets(buffer, sizeof(buffer), pipe) != nullptr) result += buffer;
  return pipe != nullptr && ::pclose(pipe) == 0 ? result : "(popen failed)";
}

TEST_F(Process, PiecesAsFgetsCutsThem) {
  std::mt19937 rng(4711);
  for (int i = 0; i < 40; ++i) {
    // Lengths from nothing to past several 64 KiB blocks; lines from 1 byte to 1000, NULs
    // often, and the last line usually without its '\n'.
    string out(rng() % (i < 20 ? 600 : 300000), 'x');
    const unsigned lineEvery = 1 + rng() % 1000;
    for (char& c : out) c = rng() % lineEvery == 0 ? '\n' : rng() % 97 == 0 ? '\0' : 'a';
    gutest::writeFile(path("out"), out);
    const string cmd = "cat " + path("out");
    EXPECT_TRUE(fgetsLoop(cmd) == execCommandAndSaveOutput(cmd.c_str())) << "output " << i;
  }
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
      "i=0; while [ $i -lt 60 ]; do printf 0000000000; sleep 0.01; i=$((i+1)); done");
  ::setitimer(ITIMER_REAL, &off, nullptr);
  ::sigaction(SIGALRM, &old, nullptr);
  EXPECT_EQ(string(600, '0'), got);
}

TEST_F(Process, CommandsInheritNoDescriptorOfOurs) {
  gutest::writeFile(path("a"), string(1 << 20, 'a'));
  gutest::writeFile(path("b"), string(1 << 20, 'a'));
  gutest::writeFile(path(".did"), "cid\n");
  const string alone = execCommandAndSaveOutput("ls /proc/self/fd");
  ASSERT_NE("", alone);
  // Other threads hold files, the interface socket and a capture pipe open the whole time.
  std::atomic<bool> stop(false);
  const std::function<void()> kBusy[] = {
      [&] { GeneralUtils::CompareFiles(path("a"), path("b")); },
      [&] { GeneralUtils::copyFileWr(path("a"), path("copy")); },
      [&] { GeneralUtils::GetCidFromFile(dir_) + std::to_string(GeneralUtils::getMacHash()); },
      [&] { execCommandAndSaveOutput("head -c 100000 /dev/zero"); },
  };
  std::vector<std::thread> busy;
  for (const auto& work : kBusy)
    busy.emplace_back([&] {
      while (!stop) work();
    });
  int leaked = 0;
  for (int i = 0; i < 150; ++i) leaked += execCommandAndSaveOutput("ls /proc/self/fd") != alone;
  stop = true;
  for (std::thread& t : busy) t.join();
  EXPECT_EQ(0, leaked) << "of 150 commands saw descriptors beyond\n" << alone;
}
