// Command output capture through real shell commands: what it keeps, signals, and the
// descriptors a command inherits.
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::execCommandAndSaveOutput;
using std::string;
using Process = gutest::TempDirTest;

TEST_F(Process, StandardOutputAsFgetsCutsIt) {
  // What a loop of fgets() into 128 bytes gives, each piece appended as a C string: pieces end
  // behind a '\n' or at 127 bytes, and a NUL ends a piece's text. Standard error is not
  // captured, a failing command's output is kept, and a null command runs nothing.
  const std::pair<const char*, string> kCases[] = {
      {nullptr, ""},
      {"echo err >&2", ""},
      {"echo out; echo err >&2; exit 3", "out\n"},
      {"printf 'a\\0b\\nc'; sleep 0.1; printf 'd\\0e'", "acd"},  // the last piece in two reads
      {"printf '%0127d\\0%072d' 0 0", string(127, '0')},         // the NUL begins the second piece
      {"head -c 300000 /dev/zero | tr '\\0' x", string(300000, 'x')},
  };
  for (const auto& [cmd, expected] : kCases) EXPECT_EQ(expected, execCommandAndSaveOutput(cmd));
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
  // Listed by a command that system() runs: unlike popen(), it closes no stream of ours.
  const auto listFds = [this] {
    return std::system(("ls /proc/self/fd >" + path("fds")).c_str()) == 0
               ? gutest::readFile(path("fds"))
               : "";
  };
  const string alone = listFds();
  ASSERT_NE("", alone);
  // Other threads hold files, the interface socket and a capture pipe open the whole time.
  std::atomic<bool> stop(false);
  const std::function<void()> kBusy[] = {
      [&] { GeneralUtils::CompareFiles(path("a"), path("b")); },
      [&] { GeneralUtils::copyFileWr(path("a"), path("copy")); },
      [&] { GeneralUtils::getMacHash(); },
      [&] { execCommandAndSaveOutput("head -c 100000 /dev/zero"); },
  };
  std::vector<std::thread> busy;
  for (const auto& work : kBusy)
    busy.emplace_back([&] {
      while (!stop) work();
    });
  int leaked = 0;
  for (int i = 0; i < 150; ++i) leaked += listFds() != alone;
  stop = true;
  for (std::thread& t : busy) t.join();
  EXPECT_EQ(0, leaked) << "of 150 commands saw descriptors beyond\n" << alone;
}
