// Whole-file operations on real files in a temp directory: size, comparison and copy, and
// what they make of things that are not regular files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;
using std::string;

namespace {

using Files = gutest::TempDirTest;

const auto kCannotOpen =
    testing::ThrowsMessage<std::runtime_error>(testing::StrEq("Cannot open file: "));

TEST_F(Files, SizeComparisonAndCopy) {
  // Several MiB, a little past a whole number of blocks. Every byte value turns up, NUL and
  // CR included, so a text-mode or C-string slip shows.
  string big(5 * 1024 * 1024 + 77, '\0'), nul("a\0\r\nb\r", 6);
  std::mt19937 rng(99);
  for (char& c : big) c = static_cast<char>(rng());
  // As big as "big" and one bit apart: right behind a 4 KiB and a 128 KiB block boundary,
  // and in the last byte.
  string pageDiff = big, blockDiff = big, lastDiff = big;
  pageDiff[4096] ^= 1;
  blockDiff[128 * 1024] ^= 1;
  lastDiff.back() ^= 1;
  const std::pair<const char*, string> kFiles[] = {
      {"empty", ""},          {"empty2", ""},         {"big", big},
      {"big2", big},          {"pageDiff", pageDiff}, {"blockDiff", blockDiff},
      {"lastDiff", lastDiff}, {"nul", nul},           {"self", "keep me"},
  };
  for (const auto& f : kFiles) gutest::writeFile(path(f.first), f.second);
  std::filesystem::create_symlink(path("self"), path("selfLink"));

  EXPECT_EQ(0, FileSize(path("empty")));
  EXPECT_EQ(big.size(), static_cast<size_t>(FileSize(path("big"))));
  EXPECT_THAT([&] { FileSize(path("missing")); }, kCannotOpen);

  struct CompareCase {
    const char *file1, *file2;
    bool same;
  };
  // An empty file is a prefix of any other: only the sizes tell "empty" and "nul" apart.
  const CompareCase kCompares[] = {
      // file1, file2, same
      {"empty", "empty2", true},  {"big", "big", true},          {"big", "big2", true},
      {"big", "lastDiff", false}, {"big", "pageDiff", false},    {"big", "blockDiff", false},
      {"empty", "nul", false},    {"missing", "missing", false}, {"big", "missing", false},
  };
  for (const CompareCase& c : kCompares)
    EXPECT_EQ(c.same, CompareFiles(path(c.file1), path(c.file2))) << c.file1 << ' ' << c.file2;

  struct CopyCase {
    string srce, dest;
    int reason;       // copyFileReport; when not 0, dest keeps what it held, or stays absent
    bool destFailed;  // the reason concerns dest, not srce
  };
  const CopyCase kCopies[] = {
      // srce, dest, reason, destFailed
      {"big", "new", 0, false},
      {"nul", "out", 0, false},
      {"empty", "out", 0, false},
      {"self", "self", kSameFile, true},
      {"self", "selfLink", kSameFile, true},
      {"missing", "out", ENOENT, false},
      {"nul", "noDir/out", ENOENT, true},
      {"/proc/self/mem", "out", EIO, false},  // opens, but its first byte cannot be read
  };
  for (const CopyCase& c : kCopies) {
    SCOPED_TRACE(c.srce + " -> " + c.dest);
    // Longer than any source copied onto it, so an old tail would show.
    gutest::writeFile(path("out"), "an older and longer text");
    const string srce = c.srce[0] == '/' ? c.srce : path(c.srce), dest = path(c.dest);
    const string expected = gutest::readFile(c.reason == 0 ? srce : dest);
    string failed;
    EXPECT_EQ(c.reason, copyFileReport(srce, dest, failed)) << fileErrorText(c.reason);
    EXPECT_EQ(c.reason == 0 ? "" : c.destFailed ? dest : srce, failed);
    // Not EXPECT_EQ: a failure would print megabytes.
    EXPECT_TRUE(expected == gutest::readFile(dest));
  }
  copyFileWr(path("nul"), path("out"));
  EXPECT_EQ(nul, gutest::readFile(path("out")));
  EXPECT_TRUE(std::filesystem::is_symlink(path("selfLink")));
}

TEST_F(Files, OnlyRegularFilesAreFiles) {
  // A FIFO that blocks open() would hang the suite; this ends it instead.
  alarm(60);
  ASSERT_EQ(0, ::mkfifo(path("fifo").c_str(), 0600));
  const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  path("sock").copy(addr.sun_path, sizeof(addr.sun_path) - 1);
  ASSERT_EQ(0, ::bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)));
  gutest::writeFile(path("file"), "text");
  ASSERT_EQ(0, ::mkdir(path("did").c_str(), 0700));

  struct OddCase {
    string path;
    int reason;  // fileSizeReport, and compareFilesReport against a regular file
  };
  const OddCase kOdd[] = {
      // path, reason
      {path("fifo"), kNotRegularFile}, {path("sock"), ENXIO}, {"/dev/null", kNotRegularFile},
      {"/dev/zero", kNotRegularFile},  {dir_, EISDIR},        {path("missing"), ENOENT},
  };
  for (const OddCase& c : kOdd) {
    SCOPED_TRACE(c.path);
    streamoff size = -1;
    EXPECT_EQ(c.reason, fileSizeReport(c.path, size)) << fileErrorText(c.reason);
    EXPECT_EQ(-1, size);
    EXPECT_THAT([&] { FileSize(c.path); }, kCannotOpen);
    bool same = true;
    string failed;
    EXPECT_EQ(c.reason, compareFilesReport(path("file"), c.path, same, failed));
    EXPECT_FALSE(same);
    EXPECT_EQ(c.path, failed);
    EXPECT_FALSE(CompareFiles(c.path, c.path));
    // As a copy source it leaves the destination alone.
    copyFileWr(c.path, path("file"));
    EXPECT_EQ("text", gutest::readFile(path("file")));
    // As the CID file it gives no CID.
    std::filesystem::remove(path("did/.did"));
    std::filesystem::create_symlink(c.path, path("did/.did"));
    EXPECT_EQ("", GetCidFromFile(path("did")));
  }
  // A /proc file is a regular file with no end to seek to: it has no size, but copies.
  streamoff size = -1;
  EXPECT_EQ(EINVAL, fileSizeReport("/proc/self/status", size));
  // Two devices of size 0 that deliver bytes are not "equal".
  EXPECT_FALSE(CompareFiles("/dev/zero", "/dev/urandom"));

  struct DestCase {
    string dest;
    int reason;  // copyFileReport of "file"
  };
  const DestCase kDests[] = {
      // dest, reason
      {"/dev/null", 0},
      {"/dev/full", ENOSPC},
      {path("fifo"), ENXIO},  // no reader: fails at once instead of waiting for one
      {dir_, EISDIR},
  };
  for (const DestCase& c : kDests) {
    if (!std::filesystem::exists(c.dest)) continue;
    string failed;
    EXPECT_EQ(c.reason, copyFileReport(path("file"), c.dest, failed)) << c.dest;
    EXPECT_EQ(c.reason == 0 ? "" : c.dest, failed);
  }
  EXPECT_EQ("Not a regular file", fileErrorText(kNotRegularFile));
  EXPECT_EQ("Is a directory", fileErrorText(EISDIR));
  alarm(0);
  ::close(sock);
}

TEST_F(Files, AShortReadIsADifference) {
  // sysfs claims 4096 bytes for a value of a few: the file delivers fewer than its size.
  string sys;
  for (const char* f : {"/sys/class/net/lo/mtu", "/sys/devices/system/cpu/online"}) {
    streamoff size = 0;
    if (fileSizeReport(f, size) == 0 && size > 0 && gutest::readFile(f).size() < size_t(size)) {
      sys = f;
      break;
    }
  }
  if (sys.empty()) GTEST_SKIP() << "no sysfs file here whose size exceeds its content";
  // What it delivers, padded to its claimed size with NULs, and with the bytes a reader past
  // the end of a stream would make up.
  const string value = gutest::readFile(sys);
  const size_t size = static_cast<size_t>(FileSize(sys));
  gutest::writeFile(path("zeros"), value + string(size - value.size(), '\0'));
  gutest::writeFile(path("ff"), value + string(size - value.size(), '\xFF'));
  EXPECT_FALSE(CompareFiles(sys, sys));
  EXPECT_FALSE(CompareFiles(sys, path("zeros")));
  EXPECT_FALSE(CompareFiles(path("ff"), sys));
}

}  // namespace
