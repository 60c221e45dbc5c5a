#include "test_support.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace gutest {

namespace {

void pipeOrDie(int fds[2]) {
  if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
}

}  // namespace

RunResult run(const std::vector<std::string>& argv, const std::string& input) {
  int in[2], out[2], err[2];
  pipeOrDie(in);
  pipeOrDie(out);
  pipeOrDie(err);
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);

  const pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    ::dup2(in[0], 0);
    ::dup2(out[1], 1);
    ::dup2(err[1], 2);
    ::execvp(args[0], args.data());
    _exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);

  // The child may not read its input at all, so a write into a closed pipe is not an error.
  ::signal(SIGPIPE, SIG_IGN);
  RunResult r;
  size_t written = 0;
  int inFd = in[1];
  if (input.empty()) {
    ::close(inFd);
    inFd = -1;
  }
  pollfd fds[3] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {inFd, POLLOUT, 0}};
  std::string* sinks[2] = {&r.out, &r.err};
  while (fds[0].fd >= 0 || fds[1].fd >= 0) {
    if (::poll(fds, 3, -1) < 0) {
      if (errno == EINTR) continue;
      throw std::runtime_error("poll failed");
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buf[65536];
      const ssize_t n = ::read(fds[i].fd, buf, sizeof(buf));
      if (n > 0) {
        sinks[i]->append(buf, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        ::close(fds[i].fd);
        fds[i].fd = -1;
      }
    }
    if (fds[2].fd >= 0 && fds[2].revents != 0) {
      const ssize_t n = ::write(fds[2].fd, input.data() + written, input.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if ((n < 0 && errno != EINTR) || written == input.size()) {
        ::close(fds[2].fd);
        fds[2].fd = -1;
      }
    }
  }
  if (fds[2].fd >= 0) ::close(fds[2].fd);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
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
