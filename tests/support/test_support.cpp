#include "test_support.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

namespace gutest {

static const std::regex kQuote("'");

RunResult runShell(const std::string& script, const std::string& input) {
  // Output goes to files, which never fill up: the child can't block on them while this side
  // is still writing its input. The input goes through a real pipe, closed once written.
  char out[] = "/tmp/gu-out-XXXXXX", err[] = "/tmp/gu-err-XXXXXX";
  if (::close(::mkstemp(out)) != 0 || ::close(::mkstemp(err)) != 0) throw std::runtime_error(out);
  ::signal(SIGPIPE, SIG_IGN);  // a child that exits without reading all its input is fine
  FILE* pipe = ::popen(("exec >" + std::string(out) + " 2>" + err + "; " + script).c_str(), "we");
  if (pipe == nullptr) throw std::runtime_error("popen: " + script);
  std::fwrite(input.data(), 1, input.size(), pipe);
  const int status = ::pclose(pipe);
  RunResult r{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(out),
              readFile(err)};
  ::unlink(out), ::unlink(err);
  return r;
}

RunResult run(const std::vector<std::string>& argv, const std::string& input) {
  std::string line = "exec";  // each argument in single quotes, its own quotes as '\''
  for (const std::string& arg : argv) line += " '" + std::regex_replace(arg, kQuote, "'\\''") + "'";
  return runShell(line, input);
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  if (!(f << content)) throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), {});
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
