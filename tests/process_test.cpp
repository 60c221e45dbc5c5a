// Command output capture through real shell commands, and the descriptors a command inherits.
// What a signal or a short read does to the capture is the fault campaign's (fault_test.cpp).
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::execCommandAndSaveOutput;
using std::string;
using Process = gutest::TempDirTest;

TEST_F(Process, CaptureCutsAsFgets) {
  // What a loop of fgets() into 128 bytes gives, each piece appended as a C string: pieces end
  // behind a '\n' or at 127 bytes, and a NUL ends a piece's text. Standard error is not
  // captured, a failing command's output is kept, and a null command runs nothing.
  const struct {
    const char* cmd;
    string output;
    int status;  // as sh -c gives it; -1: execCommandReport fails with EINVAL
  } kCases[] = {
      {nullptr, "", -1},
      {"echo err >&2", "", 0},
      {"echo out; echo err >&2; exit 3", "out\n", 3},
      {"printf x; kill -9 $$", "x", 128 + 9},
      {"printf 'a\\0b\\nc\\0d'", "ac", 0},
      {"printf '%0127d\\0%072d' 0 0", string(127, '0'), 0},  // the NUL begins the second piece
      {"printf 'a\\0%0200d\\n' 0", "a" + string(75, '0') + "\n", 0},  // 2 + 125, then 75 + LF
      {"head -c 300000 /dev/zero | tr '\\0' x", string(300000, 'x'), 0},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.cmd != nullptr ? c.cmd : "null");
    string output = "stale";
    int status = -1;
    EXPECT_EQ(c.status < 0 ? EINVAL : 0, GeneralUtils::execCommandReport(c.cmd, output, status));
    EXPECT_EQ(c.output, output);
    EXPECT_EQ(c.status, status);
    EXPECT_EQ(c.output, execCommandAndSaveOutput(c.cmd));  // the same, without the status
  }
}

TEST_F(Process, CommandsInheritNoDescriptorOfOurs) {
  gutest::writeFile(path("a"), string(1 << 20, 'a'));
  // Listed by a command that system() runs: unlike popen(), it closes no stream of ours.
  const string ls = "ls /proc/self/fd >" + path("fds");
  const auto listFds = [&] {
    return std::system(ls.c_str()) == 0 ? gutest::readFile(path("fds")) : "";
  };
  const string alone = listFds();
  ASSERT_NE("", alone);
  // Other threads hold files, the interface socket and a capture pipe open the whole time.
  std::atomic<bool> stop(false);
  std::vector<std::thread> busy;
  for (int k = 0; k < 4; ++k) {
    busy.emplace_back([&, k] {
      while (!stop) {
        if (k == 0) GeneralUtils::CompareFiles(path("a"), path("a"));
        if (k == 1) GeneralUtils::copyFileWr(path("a"), path("copy"));
        if (k == 2) GeneralUtils::getMacHash();
        if (k == 3) execCommandAndSaveOutput("head -c 100000 /dev/zero");
      }
    });
  }
  int leaked = 0;
  for (int i = 0; i < 150; ++i) leaked += listFds() != alone;
  stop = true;
  for (std::thread& t : busy) t.join();
  EXPECT_EQ(0, leaked) << "of 150 commands saw descriptors beyond\n" << alone;
}
