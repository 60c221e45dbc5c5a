// Shared helpers for the test suites: real child processes and per-test temp directories.
#ifndef GENERALUTILS_TESTS_SUPPORT_H
#define GENERALUTILS_TESTS_SUPPORT_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

// The build defines GU_PROBES, the directory of the helper programs built next to the tests
// (tests/<name>.cpp), and GU_TOOL, the path of the generalutils tool ("" when it is not built).

namespace gutest {

struct RunResult {
  int status = -1;  // exit status, or 128 + signal number when the child was killed
  std::string out, err;
};

// Runs argv[0] (searched in PATH, exec'd by /bin/sh) with `input` written to its standard
// input through a pipe, which is closed once written. Captures standard output and error.
RunResult run(const std::vector<std::string>& argv, const std::string& input = "");

// Runs a shell command line the same way.
RunResult runShell(const std::string& script, const std::string& input = "");

// Runs body in a forked child, whose standard output and error are captured as run()'s are and
// whose standard input is a pipe that gets `input` and is then closed; body's result is the
// child's exit status.
RunResult runInChild(const std::function<int()>& body, const std::string& input = "");

// runInChild, with the child in user, network and UTS namespaces of its own (root in them),
// where each setup command (an argv, run by run()) has run first. Status kNoNamespaces, with
// the reason on standard error, when the machine can't give the namespaces or a setup fails.
constexpr int kNoNamespaces = 125;
RunResult runInNamespaces(const std::vector<std::vector<std::string>>& setup,
                          const std::function<int()>& body);

// The ip(8) commands that add a veth pair whose near end `name` gets `address` and the pair's
// only IPv4 address, so that only `name` is listed; its peer registers first, which puts
// `name` behind every earlier interface.
std::vector<std::vector<std::string>> vethCommands(const std::string& name,
                                                   const std::string& address);

// The processor's 16-bit hash, worked out from what the kernel reports of cpuid leaf 0 in
// /proc/cpuinfo; false when it reports neither the vendor nor the cpuid level.
bool cpuHashFromKernel(unsigned short& hash);

void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);

// A fixture with a fresh directory of its own, removed in TearDown.
class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  std::string path(const std::string& name) const { return dir_ + "/" + name; }
  std::string dir_;
};

}  // namespace gutest

#endif  // GENERALUTILS_TESTS_SUPPORT_H
