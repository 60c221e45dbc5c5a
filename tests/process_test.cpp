// Command output capture through real shell commands: what it keeps, signals, and the
// descriptors a command inherits.
#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <thread>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::execCommandAndSaveOutput;
using std::string;
using Process = gutest::TempDirTest;

TEST_F(Process, CaptureCutsAsFgetsAndNothingIsLostToSignals) {
  const int pty = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (pty < 0 || ::grantpt(pty) != 0 || ::unlockpt(pty) != 0) GTEST_SKIP() << "no pseudo-terminal";
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
      {"printf 'a\\0b\\nc'; sleep 0.1; printf 'd\\0e'", "acd", 0},  // the last piece in two reads
      {"printf '%0127d\\0%072d' 0 0", string(127, '0'), 0},  // the NUL begins the second piece
      {"head -c 300000 /dev/zero | tr '\\0' x", string(300000, 'x'), 0},
      {"i=0; while [ $i -lt 60 ]; do printf 0000000000; sleep 0.01; i=$((i+1)); done",
       string(600, '0'), 0},
  };
  // A handler without SA_RESTART, every 3 ms: each read() that waits on a slow command is
  // interrupted at least once, and so is each write() into the terminal below.
  struct sigaction action = {}, old = {};
  action.sa_handler = [](int) {};
  ASSERT_EQ(0, ::sigaction(SIGALRM, &action, &old));
  const itimerval every3ms = {{0, 3000}, {0, 3000}}, off = {};
  ::setitimer(ITIMER_REAL, &every3ms, nullptr);
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.cmd != nullptr ? c.cmd : "null");
    string output = "stale";
    int status = -1;
    EXPECT_EQ(c.status < 0 ? EINVAL : 0, GeneralUtils::execCommandReport(c.cmd, output, status));
    EXPECT_EQ(c.output, output);
    EXPECT_EQ(c.status, status);
  }
  // The plain form drops the status and gives the same output.
  EXPECT_EQ("", execCommandAndSaveOutput(nullptr));
  EXPECT_EQ("x", execCommandAndSaveOutput(kCases[3].cmd));
  // A copy into a terminal that a thread drains 4 KiB every 10 ms: a write() that starts on a
  // full terminal waits past the next signal and fails with EINTR, having written nothing.
  // The read() ends in EIO once no one holds the terminal's other end open.
  const int term = ::open(::ptsname(pty), O_RDWR | O_NOCTTY | O_CLOEXEC);
  gutest::writeFile(path("x"), string(100000, 'x'));
  string got, failed;
  std::thread reader([&] {
    char b[4096];
    for (ssize_t n; (n = ::read(pty, b, sizeof b)) > 0 || (n < 0 && errno == EINTR);
         ::usleep(10000))
      got.append(b, static_cast<size_t>(std::max<ssize_t>(n, 0)));
  });
  EXPECT_EQ(0, GeneralUtils::copyFileReport(path("x"), ::ptsname(pty), failed)) << failed;
  ::close(term);
  reader.join();
  ::close(pty);
  EXPECT_EQ(string(100000, 'x'), got);
  ::setitimer(ITIMER_REAL, &off, nullptr);
  ::sigaction(SIGALRM, &old, nullptr);
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
