#include "test_support.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace gutest {

namespace {

// Everything a file descriptor holds, from the start.
std::string slurp(int fd) {
  std::string all;
  char buf[65536];
  ::lseek(fd, 0, SEEK_SET);
  for (ssize_t n; (n = ::read(fd, buf, sizeof(buf))) != 0;) {
    if (n > 0) all.append(buf, static_cast<size_t>(n));
    if (n < 0 && errno != EINTR) break;
  }
  return all;
}

}  // namespace

RunResult run(const std::vector<std::string>& argv, const std::string& input) {
  // Output goes to unlinked temp files, which never fill up: the child can't block on them
  // while this side is still writing its input.
  FILE* out = std::tmpfile();
  FILE* err = std::tmpfile();
  int in[2];
  if (out == nullptr || err == nullptr || ::pipe2(in, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot set up a child's standard streams");
  }
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(in[0], 0);
    ::dup2(fileno(out), 1);
    ::dup2(fileno(err), 2);
    ::execvp(args[0], args.data());
    _exit(127);
  }
  ::close(in[0]);
  // A child that exits without reading all its input is not an error here.
  ::signal(SIGPIPE, SIG_IGN);
  for (size_t done = 0; pid > 0 && done < input.size();) {
    const ssize_t n = ::write(in[1], input.data() + done, input.size() - done);
    if (n < 0 && errno != EINTR) break;
    if (n > 0) done += static_cast<size_t>(n);
  }
  ::close(in[1]);  // end of input for the child
  int status = 0;
  while (pid > 0 && ::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  RunResult r;
  r.status = pid < 0 ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = slurp(fileno(out));
  r.err = slurp(fileno(err));
  std::fclose(out);
  std::fclose(err);
  return r;
}

RunResult runShell(const std::string& script, const std::string& input) {
  return run({"/bin/sh", "-c", script}, input);
}

std::string probe(const std::string& name) { return std::string(GU_TEST_BINARY_DIR) + "/" + name; }

std::string tool() { return GU_TOOL_PATH; }

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f << content;
  if (!f) throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  std::ostringstream s;
  s << f.rdbuf();
  return s.str();
}

void TempDirTest::SetUp() {
  std::string pattern = ::testing::TempDir() + "gu-XXXXXX";
  if (::mkdtemp(&pattern[0]) == nullptr) FAIL() << "mkdtemp failed in " << ::testing::TempDir();
  dir_ = pattern;
}

void TempDirTest::TearDown() {
  if (dir_.empty()) return;
  std::error_code ec;
  std::filesystem::remove_all(dir_, ec);
}

}  // namespace gutest
