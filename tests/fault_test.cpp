// Every libc call and allocation that an operation makes, failed one at a time by the fault
// shim (fault_shim.cpp), each with every error that call can give: the library's operations
// through fault_probe, and the tool's subcommands that read or write files. An undisturbed
// run counts the calls first.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <map>
#include <regex>

#include "test_support.h"

using std::string;

namespace {

const string kProbe = GU_PROBES "/fault_probe", kTool = GU_TOOL, kText(1000, '/');

struct Operation {
  const char* name;
  std::vector<string> argv;  // run in a directory holding the files of kFiles
  // What a failed call may give instead of the undisturbed answer: the exit status, and
  // regexes for standard output and error, where {errno} and {reason} stand for the injected
  // error's number and text.
  int status;
  string out, err;
  const char* in = "lines";  // the file on standard input
  bool copies = false;       // the undisturbed answer means that b now holds the source's bytes
};
void PrintTo(const Operation& op, std::ostream* os) { *os << op.name; }

// a is past one block of the library (128 KiB) and several of the tool (64 KiB); c differs
// from it in the last byte; b is what the copies overwrite.
const string kA = [] {
  string s(200000, '\0');
  for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<char>(i * 7 + i / 4099);
  return s;
}();
// clang-format off
const std::map<string, string> kFiles = {
    {"a", kA}, {"a2", kA}, {"c", kA.substr(0, kA.size() - 1) + '\x01'}, {"b", "old"},
    {".did", "CID-1\r\nnext"}, {"lines", "first line\nsecond\nthird\n"}, {"blanks", string(150000, ' ')}};
const Operation kOperations[] = {
    // name, argv, then for a failed call: status, stdout, stderr; stdin, copies
    {"size", {kProbe, "size", "a"}, 0, "{errno} -1 \n", ""},
    {"FileSize", {kProbe, "FileSize", "a"}, 0, "threw Cannot open file: \n", ""},
    {"compareSame", {kProbe, "compare", "a", "a2"}, 0, "{errno} 0 a2? \n", ""},
    {"compareDiffer", {kProbe, "compare", "a", "c"}, 0, "{errno} 0 (a|c) \n", ""},
    {"copy", {kProbe, "copy", "a", "b"}, 0, "{errno} (a|b) \n", "", "lines", true},
    {"copyHoles", {kProbe, "copy", "s", "b"}, 0, "{errno} (s|b) \n", "", "lines", true},
    {"cid", {kProbe, "cid", "."}, 0, "{errno}  \\./\\.did \n", ""},
    {"paths", {kProbe, "paths", "."}, 0, "([01] ){3}\n", ""},
    {"exedir", {kProbe, "exedir"}, 0, "\\[\\] \n", ""},
    {"cidPath", {kProbe, "cidPath"}, 0, "/\\.did \n", ""},
    {"os", {kProbe, "os"}, 0, "\\[\\] \n", "uname: {reason}\n"},
    {"host", {kProbe, "host"}, 0, "unknown \n", ""},
    {"interfaces", {kProbe, "interfaces"}, 0, "(\\S+ [01] \\d+ [01] )*\n", ""},
    {"fingerprintCStr", {kProbe, "fingerprintCStr"}, 0, "\\d{1,9} \n", ""},
    // A read error ends the output; a failure to start or to wait leaves the status alone.
    {"exec", {kProbe, "exec", "printf '%0200d\\n%0100d\\0x\\n' 0 0; exit 3"}, 0, "(0 \\d+|{errno} -1) [0\n]* \n", ""},
    {"console", {kProbe, "console"}, 0, "\\[(first line)?\\] \\[[a-z ]*\\] \n", ""},
    // The tool's subcommands: a failed call ends in one message of the contract's form.
    {"toolCp", {kTool, "cp", "a", "b"}, 1, "", "generalutils: cp: '(a|b)': {reason}\n", "lines", true},
    {"toolCmpSame", {kTool, "cmp", "a", "a2"}, 2, "", "generalutils: cmp: 'a2?': {reason}\n"},
    {"toolCmpDiffer", {kTool, "cmp", "a", "c"}, 2, "", "generalutils: cmp: '(a|c)': {reason}\n"},
    {"toolSize", {kTool, "size", "a"}, 1, "", "generalutils: size: 'a': {reason}\n"},
    {"toolCrc32c", {kTool, "crc32c", "a"}, 1, "", "generalutils: crc32c: 'a': {reason}\n"},
    {"toolCid", {kTool, "cid", "."}, 1, "", "generalutils: cid: '\\.(/\\.did)?': {reason}\n"},
    {"toolUrlencodeText", {kTool, "urlencode", kText}, 1, "", "generalutils: urlencode: '" + kText + "': {reason}\n"},
    {"toolUrlencodeStdin", {kTool, "urlencode"}, 1, "", "generalutils: urlencode: '-': {reason}\n", "blanks"},
    {"toolReadline", {kTool, "readline"}, 1, "", "generalutils: readline: '-': {reason}\n"},
};
// The errors each function fails with; the rest fail with EIO. EINTR and a short transfer
// must cost nothing.
const std::map<string, std::vector<string>> kErrors = {
    {"read", {"EINTR", "short", "EIO"}}, {"write", {"EINTR", "short", "EIO", "ENOSPC"}},
    {"pread", {"EINTR", "short", "EIO"}}, {"pwrite", {"EINTR", "short", "EIO", "ENOSPC"}},
    {"getc", {"EINTR", "EIO"}}, {"close", {"EINTR", "EIO", "ENOSPC"}},
    {"open", {"EMFILE", "ENOMEM", "ENOSPC"}}, {"socket", {"EMFILE", "ENOMEM"}},
    {"popen", {"EMFILE", "ENOMEM"}}, {"malloc", {"ENOMEM"}}, {"calloc", {"ENOMEM"}},
    {"realloc", {"ENOMEM"}}};
// clang-format on

struct Answer {
  int status;  // exit status, 128 + signal, or -1 when it hung
  string out, err;
  bool operator==(const Answer& o) const {
    return status == o.status && out == o.out && err == o.err;
  }
};

// Runs op in dir under the shim, with `variable` (NAME=VALUE) set; at most ten seconds.
Answer run(const Operation& op, const string& dir, string variable) {
  std::vector<char*> argv;
  for (const string& a : op.argv) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::putenv(&variable[0]), ::setenv("LD_PRELOAD", GU_FAULT_SHIM, 1);
    if (::chdir(dir.c_str()) == 0 && ::dup2(::open(op.in, O_RDONLY | O_CLOEXEC), 0) == 0 &&
        ::dup2(::open("out", flags, 0600), 1) == 1 && ::dup2(::open("err", flags, 0600), 2) == 2)
      ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  pollfd exited = {static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)), POLLIN, 0};
  const bool hung = ::poll(&exited, 1, 10000) == 0;
  if (hung) ::kill(pid, SIGKILL);
  int status = 0;
  ::close(exited.fd), ::waitpid(pid, &status, 0);
  status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return {hung ? -1 : status, gutest::readFile(dir + "/out"), gutest::readFile(dir + "/err")};
}

// Sums of size and change times of the files but b: writing to one changes its sum.
string sourceStamps(const string& dir) {
  string all;
  struct stat st = {};
  for (const char* file : {"a", "a2", "c", "s", ".did", "lines", "blanks"})
    if (::stat((dir + '/' + file).c_str(), &st) == 0)
      all += std::to_string(st.st_size + st.st_mtim.tv_nsec + st.st_ctim.tv_nsec) + ' ';
  return all;
}

int errnoOf(const string& name) {
  for (int e = 1; e < 134; ++e)
    if (strerrorname_np(e) != nullptr && name == strerrorname_np(e)) return e;
  return 0;
}

bool matches(const string& text, const string& regex, int error) {
  string filled = std::regex_replace(regex, std::regex("\\{errno\\}"), std::to_string(error));
  filled = std::regex_replace(filled, std::regex("\\{reason\\}"), std::strerror(error));
  return std::regex_match(text, std::regex(filled));
}

}  // namespace

class Fault : public gutest::TempDirTest, public ::testing::WithParamInterface<Operation> {
 protected:
  // What is wrong with answer a to a run with `error` injected, or "" if nothing.
  string judge(const string& error, const Answer& undisturbed, const Answer& a) {
    const Operation& op = GetParam();
    if (a.status < 0 || a.status >= 99) return "crashed, hung or left something behind";
    if (sourceStamps(dir_) != sources_) return "a source was written to";
    if (error == "EINTR" || error == "short" || a == undisturbed) {
      if (!(a == undisturbed)) return "differs from the undisturbed answer";
      if (!op.copies) return "";
      const bool copied = gutest::readFile(path("b")) == gutest::readFile(path(op.argv[2]));
      return copied ? "" : "b does not hold the source's bytes";
    }
    if (a.status != op.status) return "exit status";
    const int number = errnoOf(error);  // out of memory may pass through as std::bad_alloc
    if (number == ENOMEM && a.out == "threw std::bad_alloc\n") return a.err.empty() ? "" : "err";
    // A failure may cut the output short, or give the documented answer for failure.
    if (a.out != undisturbed.out.substr(0, a.out.size()) && !matches(a.out, op.out, number))
      return "output";
    return matches(a.err, op.err, number) ? "" : "message";
  }
  string sources_;
};

TEST_P(Fault, EveryCallFailsInTurn) {
  if (string(GU_FAULT_SHIM).empty())
    GTEST_SKIP() << "a sanitizer's runtime must be the first library loaded, so no shim can be";
  const Operation& op = GetParam();
  if (op.argv[0].empty()) GTEST_SKIP() << "the tool is not built";
  for (const auto& file : kFiles) gutest::writeFile(path(file.first), file.second);
  // s: 1 MiB with holes around two stretches of data.
  const int s = ::open(path("s").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(0, ::ftruncate(s, 1 << 20));
  for (const off_t at : {300000, 900000}) ASSERT_EQ(5000, ::pwrite(s, kA.data(), 5000, at));
  ::close(s);
  const Answer undisturbed = run(op, dir_, "GU_FAULT_COUNT=" + path("count"));
  ASSERT_TRUE(undisturbed.status >= 0 && undisturbed.status < 99) << undisturbed.err;
  sources_ = sourceStamps(dir_);
  std::ifstream counts(path("count"));
  string function;
  int cases = 0, failures = 0;
  for (unsigned long calls = 0; counts >> function >> calls;) {
    const auto errors = kErrors.count(function) ? kErrors.at(function) : std::vector<string>{"EIO"};
    for (const string& error : errors) {
      for (unsigned long call = 1; call <= calls; ++call, ++cases) {
        const string fault = "GU_FAULT=" + function + ':' + std::to_string(call) + ':' + error;
        gutest::writeFile(path("b"), "old");
        const Answer a = run(op, dir_, fault);
        const string problem = judge(error, undisturbed, a);
        if (!problem.empty() && ++failures <= 5)
          ADD_FAILURE() << fault << ": " << problem << "\nstatus " << a.status
                        << "\nout: " << a.out.substr(0, 200) << "\nerr: " << a.err.substr(0, 200);
      }
    }
  }
  EXPECT_EQ(0, failures) << "of " << cases << " cases";
  std::printf("%s: %d cases\n", op.name, cases);
}

INSTANTIATE_TEST_SUITE_P(Campaign, Fault, ::testing::ValuesIn(kOperations),
                         [](const auto& info) { return string(info.param.name); });

using FaultNamed = gutest::TempDirTest;

TEST_F(FaultNamed, CopyNamesTheFileWhoseStatusCannotBeRead) {
  if (string(GU_FAULT_SHIM).empty()) GTEST_SKIP() << "no shim under a sanitizer";
  gutest::writeFile(path("a"), "text"), gutest::writeFile(path("lines"), "");
  // The source's status is read as it is opened, the destination's when it is.
  const std::pair<string, string> kCalls[] = {{"fstat:1:EIO", "5 a \n"}, {"fstat:2:EIO", "5 b \n"}};
  for (const auto& [fault, answer] : kCalls)
    EXPECT_EQ(answer,
              run({"", {kProbe, "copy", "a", "b"}, 0, "", ""}, dir_, "GU_FAULT=" + fault).out);
}
