// Whole-file operations on real files in a temp directory: size, comparison and copy, and
// what they make of things that are not regular files.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;
using std::string;

using Files = gutest::TempDirTest;

TEST_F(Files, SizeComparisonAndCopy) {
  // Several MiB, a little past a whole number of blocks, every byte value in it (NUL and CR
  // too); then copies one bit apart behind a 4 KiB and a 128 KiB boundary and at the end.
  string big(5 * 1024 * 1024 + 77, '\0'), nul("a\0\r\nb\r", 6);
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7 + i / 4099);
  string pageDiff = big, blockDiff = big, lastDiff = big;
  pageDiff[4096] ^= 1, blockDiff[128 * 1024] ^= 1, lastDiff.back() ^= 1;
  const std::pair<const char*, string> kFiles[] = {
      {"empty", ""},          {"empty2", ""},         {"big", big},
      {"big2", big},          {"pageDiff", pageDiff}, {"blockDiff", blockDiff},
      {"lastDiff", lastDiff}, {"nul", nul},           {"self", "keep me"}};
  for (const auto& [name, content] : kFiles) gutest::writeFile(path(name), content);
  ASSERT_EQ(0, ::mkfifo(path("fifo").c_str(), 0600) | ::mkfifo(path("readFifo").c_str(), 0600));
  const int reader = ::open(path("readFifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::filesystem::create_symlink(path("self"), path("selfLink"));

  EXPECT_EQ(big.size(), static_cast<size_t>(FileSize(path("big"))));
  // An empty file is a prefix of any other: only the sizes tell "empty" and "nul" apart.
  // clang-format off
  const struct { const char *file1, *file2; bool same; } kCompares[] = {
      {"empty", "empty2", true},  {"big", "big", true},          {"big", "big2", true},
      {"big", "lastDiff", false}, {"big", "pageDiff", false},    {"big", "blockDiff", false},
      {"empty", "nul", false},    {"missing", "missing", false}, {"big", "missing", false},
  };
  // clang-format on
  for (const auto& c : kCompares)
    EXPECT_EQ(c.same, CompareFiles(path(c.file1), path(c.file2))) << c.file1 << ' ' << c.file2;

  // clang-format off
  const struct { string srce, dest; int reason; bool destFailed; } kCopies[] = {
      // srce (a leading '/': as it is), dest, copyFileReport, the reason concerns dest;
      // unless the copy succeeds, dest keeps what it held, or stays absent
      {"big", "new", 0, false},              {"nul", "out", 0, false},
      {"empty", "out", 0, false},            {"self", "selfLink", kSameFile, true},
      {"missing", "out", ENOENT, false},     {"nul", "noDir/out", ENOENT, true},
      {"fifo", "out", kNotRegularFile, false},
      {"nul", "fifo", ENXIO, true},          // no reader: fails at once, never waits for one
      {"nul", "readFifo", kNotRegularFile, true},  // a reader, who might never read
      {"/proc/self/mem", "out", EIO, false},  // opens, but its first byte cannot be read
      {"/proc/sys/kernel/ostype", "out", 0, false},  // claims no size, delivers a line
      {"/sys/devices/system/cpu/online", "out", 0, false},  // claims 4096 bytes, delivers a few
  };
  // clang-format on
  for (const auto& c : kCopies) {
    SCOPED_TRACE(c.srce + " -> " + c.dest);
    gutest::writeFile(path("out"), "an older and longer text");  // an old tail would show
    const string srce = c.srce[0] == '/' ? c.srce : path(c.srce);
    const string dest = path(c.dest);  // a FIFO can't be read back
    const bool readable = c.dest != "fifo" && c.dest != "readFifo";
    const string expected = readable ? gutest::readFile(c.reason == 0 ? srce : dest) : "";
    string failed;
    EXPECT_EQ(c.reason, copyFileReport(srce, dest, failed)) << fileErrorText(c.reason);
    EXPECT_EQ(c.reason == 0 ? "" : c.destFailed ? dest : srce, failed);
    EXPECT_TRUE(!readable || expected == gutest::readFile(dest));  // not EXPECT_EQ: megabytes
  }
  ::close(reader);
  copyFileWr(path("nul"), path("out"));
  EXPECT_EQ(nul, gutest::readFile(path("out")));
  EXPECT_TRUE(std::filesystem::is_symlink(path("selfLink")));
}

TEST_F(Files, CopyKeepsModeAndHoles) {
  const string source = path("source"), copy = path("copy");
  gutest::writeFile(source, "#!/bin/sh\n");
  const struct {
    mode_t source, umask;
    int existing;  // the destination's mode before the copy; -1: there is none
    mode_t copy;
  } kModes[] = {
      {0755, 022, -1, 0755},   {0644, 077, -1, 0600},
      {0444, 0, -1, 0444},     {07755, 0, -1, 0755},  // never set-user-ID, set-group-ID or sticky
      {0755, 022, 0600, 0600},
  };
  for (const auto& c : kModes) {
    SCOPED_TRACE(std::to_string(c.source) + " " + std::to_string(c.existing));
    ::unlink(copy.c_str());
    if (c.existing >= 0) gutest::writeFile(copy, "old"), ::chmod(copy.c_str(), c.existing);
    ASSERT_EQ(0, ::chmod(source.c_str(), c.source));
    const mode_t old = ::umask(c.umask);
    string failed;
    EXPECT_EQ(0, copyFileReport(source, copy, failed));
    ::umask(old);
    struct stat st = {};
    ASSERT_EQ(0, ::stat(copy.c_str(), &st));
    EXPECT_EQ(c.copy, st.st_mode & 07777);
  }
  // 100 MiB with data in three places, the last a little before a hole at the end.
  const int fd = ::open(source.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  const off_t size = 100 << 20, places[] = {0, 50 << 20, size - (1 << 20)};
  for (const off_t at : places) ASSERT_EQ(5, ::pwrite(fd, "data.", 5, at));
  ASSERT_EQ(0, ::ftruncate(fd, size) | ::close(fd));
  struct stat from = {}, to = {};
  ASSERT_EQ(0, ::stat(source.c_str(), &from));
  if (from.st_blocks * 512 >= size) GTEST_SKIP() << dir_ << ": the file system keeps no holes";
  copyFileWr(source, copy);
  ASSERT_EQ(0, ::stat(copy.c_str(), &to));
  EXPECT_EQ(size, to.st_size);
  EXPECT_LE(to.st_blocks, from.st_blocks);
  EXPECT_TRUE(CompareFiles(source, copy));
}

TEST_F(Files, OnlyRegularFilesThatDeliverTheirSize) {
  alarm(60);  // a FIFO that blocked open() would hang the suite; this ends it instead
  ASSERT_EQ(0, ::mkfifo(path("fifo").c_str(), 0600));
  gutest::writeFile(path("file"), "text");
  const std::pair<string, int> kOdd[] = {
      // path, fileSizeReport and compareFilesReport against a regular file
      {path("fifo"), kNotRegularFile},
      {"/dev/zero", kNotRegularFile},
      {dir_, EISDIR},
      {path("missing"), ENOENT},
  };
  for (const auto& [odd, reason] : kOdd) {
    SCOPED_TRACE(odd);
    streamoff size = -1;
    bool same = true;
    string failed;
    EXPECT_EQ(reason, fileSizeReport(odd, size));
    EXPECT_EQ(-1, size);
    EXPECT_THAT([p = odd] { FileSize(p); },
                testing::ThrowsMessage<std::runtime_error>(testing::StrEq("Cannot open file: ")));
    EXPECT_EQ(reason, compareFilesReport(path("file"), odd, same, failed));
    EXPECT_FALSE(same);
    EXPECT_EQ(odd, failed);
    EXPECT_FALSE(CompareFiles(odd, odd));
  }
  // A /proc file is regular but has no end to seek to, so it has no size.
  streamoff size = -1;
  EXPECT_EQ(EINVAL, fileSizeReport("/proc/self/status", size));
  alarm(0);
  // A sysctl file claims 0 bytes and delivers a line, so it differs from an empty file.
  ASSERT_TRUE(fileSizeReport("/proc/sys/kernel/ostype", size) == 0 && size == 0);
  gutest::writeFile(path("empty"), "");
  EXPECT_FALSE(CompareFiles(path("empty"), "/proc/sys/kernel/ostype"));
  // sysfs claims 4096 bytes for a value of a few: the file delivers fewer than its size.
  const string sys = "/sys/devices/system/cpu/online";
  if (fileSizeReport(sys, size) != 0 || gutest::readFile(sys).size() >= size_t(size))
    GTEST_SKIP() << sys << " is missing here, or delivers its claimed size";
  // What it delivers, padded to its claimed size with NULs, and with the 0xFF bytes a reader
  // past the end of a stream would make up.
  const string value = gutest::readFile(sys);
  gutest::writeFile(path("zeros"), value + string(size - value.size(), '\0'));
  gutest::writeFile(path("ff"), value + string(size - value.size(), '\xFF'));
  EXPECT_FALSE(CompareFiles(sys, sys));
  EXPECT_FALSE(CompareFiles(sys, path("zeros")));
  EXPECT_FALSE(CompareFiles(path("ff"), sys));
}
