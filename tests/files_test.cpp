// Whole-file operations on real files in a temp directory: size, comparison and copy.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;
using std::string;

using Files = gutest::TempDirTest;

TEST_F(Files, SizeComparisonAndCopy) {
  // Several MiB, a little past a whole number of 4096-byte blocks. Every byte value turns up,
  // NUL and CR included, so a text-mode or C-string slip shows.
  string big(5 * 1024 * 1024 + 77, '\0'), nul("a\0\r\nb\r", 6);
  std::mt19937 rng(99);
  for (char& c : big) c = static_cast<char>(rng());
  // As big as "big" and one bit apart: right behind a block boundary, in the last byte.
  string blockDiff = big, lastDiff = big;
  blockDiff[4096] ^= 1;
  lastDiff.back() ^= 1;
  const std::pair<const char*, string> kFiles[] = {
      {"empty", ""}, {"empty2", ""},           {"big", big},
      {"big2", big}, {"blockDiff", blockDiff}, {"lastDiff", lastDiff},
      {"nul", nul},  {"self", "keep me"},
  };
  for (const auto& f : kFiles) gutest::writeFile(path(f.first), f.second);
  std::filesystem::create_directory(path("sub"));
  std::filesystem::create_symlink(path("self"), path("selfLink"));

  EXPECT_EQ(0, FileSize(path("empty")));
  EXPECT_EQ(big.size(), static_cast<size_t>(FileSize(path("big"))));
  const auto kCannotOpen =
      testing::ThrowsMessage<std::runtime_error>(testing::StrEq("Cannot open file: "));
  EXPECT_THAT([&] { FileSize(path("missing")); }, kCannotOpen);
  EXPECT_THAT([&] { FileSize(path("sub")); }, kCannotOpen);  // a directory is not a file

  struct FileCase {
    const char *file1, *file2;
    bool expected;  // CompareFiles: the same; copyFileWr: copied
  };
  // An empty file is a prefix of any other: only the sizes tell "empty" and "nul" apart.
  const FileCase kCompares[] = {
      // file1, file2, same
      {"empty", "empty2", true},     {"big", "big", true},        {"big", "big2", true},
      {"big", "lastDiff", false},    {"big", "blockDiff", false}, {"empty", "nul", false},
      {"missing", "missing", false}, {"big", "missing", false},   {"sub", "sub", false},
  };
  for (const FileCase& c : kCompares)
    EXPECT_EQ(c.expected, CompareFiles(path(c.file1), path(c.file2))) << c.file1 << ' ' << c.file2;

  const FileCase kCopies[] = {
      // srce, dest, copied; if not, dest keeps what it held, or stays absent
      {"big", "new", true},   {"nul", "out", true},        {"empty", "out", true},
      {"self", "self", true}, {"self", "selfLink", true},  {"missing", "out", false},
      {"sub", "out", false},  {"nul", "noDir/out", false},
  };
  for (const FileCase& c : kCopies) {
    // Longer than any source copied onto it, so an old tail would show.
    gutest::writeFile(path("out"), "an older and longer text");
    const string expected = gutest::readFile(path(c.expected ? c.file1 : c.file2));
    copyFileWr(path(c.file1), path(c.file2));
    // Not EXPECT_EQ: a failure would print megabytes.
    EXPECT_TRUE(expected == gutest::readFile(path(c.file2))) << c.file1 << " -> " << c.file2;
  }
  EXPECT_TRUE(std::filesystem::is_symlink(path("selfLink")));
}
