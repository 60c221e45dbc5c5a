// Console line input, read by console_probe from a real pipe on its standard input. The
// pipe is closed once the input is written, so end of input is real.
#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>
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

// True when pid has taken every byte of the pipe `writeEnd` feeds and sleeps in a read() of
// its standard input, waiting for more; or when it is gone.
static bool waitsForMoreInputOrIsGone(pid_t pid, int writeEnd) {
  const string proc = "/proc/" + std::to_string(pid), stat = gutest::readFile(proc + "/stat");
  const char state = stat.at(stat.rfind(')') + 2);
  int queued = -1;
  return state == 'Z' ||
         (::ioctl(writeEnd, FIONREAD, &queued) == 0 && queued == 0 && state == 'S' &&
          gutest::readFile(proc + "/syscall").rfind("0 0x0 ", 0) == 0);
}

TEST(Console, ASignalCostsNoByte) {
  if (gutest::readFile("/proc/self/syscall").empty()) GTEST_SKIP() << "no /proc/PID/syscall";
  // The probe reads a line, drops the next and reads the third, from a pipe filled in three
  // parts. Each time it has taken a part and waits in read() for the rest, a signal whose
  // handler has no SA_RESTART interrupts that read, once in each function.
  ::signal(SIGPIPE, SIG_IGN);
  int in[2], out[2];
  ASSERT_EQ(0, ::pipe2(in, O_CLOEXEC) | ::pipe2(out, O_CLOEXEC));
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(in[0], STDIN_FILENO), ::dup2(out[1], STDOUT_FILENO);
    ::execl(GU_PROBES "/console_probe", "console_probe", "s", "l64", "c", "l64", nullptr);
    ::_exit(127);
  }
  ::close(in[0]), ::close(out[1]);
  for (const string part : {"first li", "ne\nsec"}) {
    ASSERT_EQ(ssize_t(part.size()), ::write(in[1], part.data(), part.size()));
    while (!waitsForMoreInputOrIsGone(pid, in[1])) std::this_thread::yield();
    ::kill(pid, SIGUSR1);
    char handled = 0;  // the handler's '!': the read was interrupted
    ASSERT_EQ(1, ::read(out[0], &handled, 1));
  }
  (void)!::write(in[1], "ond\nthird\n", 10);  // a probe that lost a byte may be gone already
  ::close(in[1]);
  string rest;
  char block[64];
  for (ssize_t n; (n = ::read(out[0], block, sizeof block)) > 0;) rest.append(block, n);
  int status = -1;
  ::waitpid(pid, &status, 0);
  ::close(out[0]);
  EXPECT_EQ("[first line]\n[third]\n", rest);
  EXPECT_EQ(0, status);
}
