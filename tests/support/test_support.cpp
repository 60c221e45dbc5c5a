#include "test_support.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace gutest {

RunResult run(const std::vector<std::string>& argv, const std::string& input) {
  // Output goes to files, which never fill up: the child can't block on them while this side
  // is still writing its input. The input goes through a real pipe, closed once written.
  char outName[] = "/tmp/gu-out-XXXXXX", errName[] = "/tmp/gu-err-XXXXXX";
  const int out = ::mkstemp(outName), err = ::mkstemp(errName);
  int in[2];
  if (out < 0 || err < 0 || ::pipe2(in, O_CLOEXEC) != 0) throw std::runtime_error("run: setup");
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  ::posix_spawn_file_actions_adddup2(&actions, out, 1);
  ::posix_spawn_file_actions_adddup2(&actions, err, 2);
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid = -1;
  const int spawned = ::posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(in[0]);
  ::signal(SIGPIPE, SIG_IGN);  // a child that exits without reading all its input is fine
  for (size_t done = 0; spawned == 0 && done < input.size();) {
    const ssize_t n = ::write(in[1], input.data() + done, input.size() - done);
    if (n < 0 && errno != EINTR) break;
    if (n > 0) done += static_cast<size_t>(n);
  }
  ::close(in[1]);
  int status = 0;
  while (spawned == 0 && ::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  RunResult r;
  r.status = spawned != 0 ? 127 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = readFile(outName);
  r.err = readFile(errName);
  ::close(out), ::close(err), ::unlink(outName), ::unlink(errName);
  return r;
}

RunResult runShell(const std::string& script, const std::string& input) {
  return run({"/bin/sh", "-c", script}, input);
}

std::string probe(const std::string& name) { return std::string(GU_TEST_BINARY_DIR) + "/" + name; }

std::string tool() { return GU_TOOL_PATH; }

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  if (!(f << content)) throw std::runtime_error("cannot write " + path);
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
  std::error_code ec;
  if (!dir_.empty()) std::filesystem::remove_all(dir_, ec);
}

}  // namespace gutest
