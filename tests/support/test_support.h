// Shared helpers for the test suites: real child processes and per-test temp directories.
#ifndef GENERALUTILS_TESTS_SUPPORT_H
#define GENERALUTILS_TESTS_SUPPORT_H

#include <gtest/gtest.h>

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
