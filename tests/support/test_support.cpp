#include "test_support.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

namespace gutest {

static const std::regex kQuote("'");

// Writes text to a child's input; a child that exits without reading all of it is fine.
static void writeAll(int fd, const std::string& text) {
  ::signal(SIGPIPE, SIG_IGN);
  for (size_t done = 0; done < text.size();) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
}

RunResult runShell(const std::string& script, const std::string& input) {
  // Output goes to files, which never fill up: the child can't block on them while this side
  // is still writing its input. The input goes through a real pipe, closed once written.
  char out[] = "/tmp/gu-out-XXXXXX", err[] = "/tmp/gu-err-XXXXXX";
  if (::close(::mkstemp(out)) != 0 || ::close(::mkstemp(err)) != 0) throw std::runtime_error(out);
  FILE* pipe = ::popen(("exec >" + std::string(out) + " 2>" + err + "; " + script).c_str(), "we");
  if (pipe == nullptr) throw std::runtime_error("popen: " + script);
  // Written past stdio, whose buffer would otherwise fail pclose() once a child that reads
  // nothing has gone.
  writeAll(::fileno(pipe), input);
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

RunResult runInChild(const std::function<int()>& body, const std::string& input) {
  char out[] = "/tmp/gu-out-XXXXXX", err[] = "/tmp/gu-err-XXXXXX";
  const int outFd = ::mkstemp(out), errFd = ::mkstemp(err);
  int in[2];
  if (outFd < 0 || errFd < 0 || ::pipe2(in, O_CLOEXEC) != 0) throw std::runtime_error(out);
  std::fflush(nullptr);  // nothing buffered here is printed twice
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(in[0], 0), ::dup2(outFd, 1), ::dup2(errFd, 2);
    ::close(in[1]);  // else the child holds its own input open and never sees the end
    const int status = body();
    std::fflush(nullptr);
    ::_exit(status);
  }
  ::close(in[0]);
  writeAll(in[1], input);
  ::close(in[1]);
  int status = 0;
  while (pid > 0 && ::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  ::close(outFd), ::close(errFd);
  RunResult r{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(out),
              readFile(err)};
  ::unlink(out), ::unlink(err);
  return r;
}

static bool writeProcSelf(const std::string& name, const std::string& text) {
  std::ofstream f("/proc/self/" + name);
  return static_cast<bool>(f << text << std::flush);
}

RunResult runInNamespaces(const std::vector<std::vector<std::string>>& setup,
                          const std::function<int()>& body) {
  return runInChild([&] {
    // The ids outside map to root inside.
    const std::string uid = "0 " + std::to_string(::getuid()) + " 1";
    const std::string gid = "0 " + std::to_string(::getgid()) + " 1";
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWUTS) != 0 ||
        !writeProcSelf("uid_map", uid) || !writeProcSelf("setgroups", "deny") ||
        !writeProcSelf("gid_map", gid)) {
      std::fprintf(stderr, "no user, network and UTS namespaces: %s\n", std::strerror(errno));
      return kNoNamespaces;
    }
    for (const std::vector<std::string>& command : setup) {
      const RunResult r = run(command);
      if (r.status != 0) {
        std::fprintf(stderr, "%s failed: %s", command.front().c_str(), r.err.c_str());
        return kNoNamespaces;
      }
    }
    return body();
  });
}

std::vector<std::vector<std::string>> vethCommands(const std::string& name,
                                                   const std::string& address) {
  return {
      {"ip", "link", "add", name, "address", address, "type", "veth", "peer", "name", name + "p"},
      {"ip", "addr", "add", "10.0.0.1/32", "dev", name}};
}

bool cpuHashFromKernel(unsigned short& hash) {
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string line, vendor, level;
  while (std::getline(cpuinfo, line) && (vendor.empty() || level.empty())) {
    const size_t colon = line.find(": ");
    if (line.rfind("vendor_id", 0) == 0) vendor = line.substr(colon + 2);
    if (line.rfind("cpuid level", 0) == 0) level = line.substr(colon + 2);
  }
  if (vendor.size() != 12 || level.empty()) return false;
  // Leaf 0 gives the highest leaf in EAX and the vendor text in EBX, EDX and ECX. The hash adds
  // the even registers' low 16 bits and the odd ones' shifted left by 8.
  uint32_t regs[4] = {static_cast<uint32_t>(std::stoul(level)), 0, 0, 0};
  std::memcpy(&regs[1], &vendor[0], 4), std::memcpy(&regs[3], &vendor[4], 4);
  std::memcpy(&regs[2], &vendor[8], 4);
  uint32_t sum = 0;
  for (int i = 0; i < 4; ++i) sum += (regs[i] << (i % 2 * 8)) & 0xFFFF;
  hash = static_cast<unsigned short>(sum);
  return true;
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
