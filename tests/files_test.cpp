// Whole-file operations on real files in a temp directory: size, comparison and copy.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;
using std::string;
namespace fs = std::filesystem;

namespace {

const string kNul("a\0\r\nb\r", 6);
// Several MiB, a little past a whole number of 4096-byte blocks.
constexpr size_t kBigSize = 5 * 1024 * 1024 + 77;

class Files : public gutest::TempDirTest {
 protected:
  void SetUp() override {
    gutest::TempDirTest::SetUp();
    std::mt19937 rng(99);
    // Every byte value turns up, NUL and CR included.
    big_.resize(kBigSize);
    for (char& c : big_) c = static_cast<char>(rng());
    const std::pair<const char*, string> kFiles[] = {
        {"empty", ""},          {"empty2", ""}, {"big", big_},       {"big2", big_},
        {"longer", big_ + "x"}, {"nul", kNul},  {"self", "keep me"},
    };
    for (const auto& f : kFiles) gutest::writeFile(path(f.first), f.second);
    // As big as "big" and one bit apart: in the first byte, on either side of a block
    // boundary, in the last byte.
    const std::pair<const char*, size_t> kFlips[] = {
        {"firstDiff", 0}, {"blockEnd", 4095}, {"blockDiff", 4096}, {"lastDiff", kBigSize - 1}};
    for (const auto& [name, at] : kFlips) {
      string s = big_;
      s[at] = static_cast<char>(s[at] ^ 1);
      gutest::writeFile(path(name), s);
    }
    fs::create_directory(path("sub"));
    fs::create_symlink(path("self"), path("selfLink"));
  }
  string big_;
};

}  // namespace

TEST_F(Files, FileSize) {
  EXPECT_EQ(0, static_cast<std::streamoff>(FileSize(path("empty"))));
  EXPECT_EQ(big_.size(), static_cast<size_t>(FileSize(path("big"))));
  const auto kCannotOpen =
      testing::ThrowsMessage<std::runtime_error>(testing::StrEq("Cannot open file: "));
  EXPECT_THAT([&] { FileSize(path("missing")); }, kCannotOpen);
  EXPECT_THAT([&] { FileSize(path("sub")); }, kCannotOpen);  // a directory is not a file
}

TEST_F(Files, CompareFiles) {
  struct CompareCase {
    const char *file1, *file2;
    bool same;
  };
  const CompareCase kCases[] = {
      // file1, file2, same
      {"empty", "empty2", true},  {"big", "big", true},        {"big", "big2", true},
      {"big", "lastDiff", false}, {"big", "firstDiff", false}, {"big", "blockDiff", false},
      {"big", "blockEnd", false}, {"big", "longer", false},    {"longer", "big", false},
      {"big", "missing", false},  {"missing", "big", false},   {"missing", "missing", false},
      {"sub", "sub", false},      {"empty", "sub", false},
  };
  for (const CompareCase& c : kCases) {
    SCOPED_TRACE(string(c.file1) + " | " + c.file2);
    EXPECT_EQ(c.same, CompareFiles(path(c.file1), path(c.file2)));
  }
}

TEST_F(Files, CopyFile) {
  struct CopyCase {
    const char *srce, *dest;
    std::optional<string> destAfter;  // nullopt: no such file
  };
  // "out" holds more than any source before each copy, so an old tail would show.
  const string old = big_ + "old tail";
  const CopyCase kCases[] = {
      // srce, dest, destAfter
      {"big", "out", big_},
      {"nul", "out", kNul},
      {"empty", "out", ""},
      {"empty", "new", ""},
      {"self", "self", "keep me"},
      {"self", "selfLink", "keep me"},
      {"selfLink", "self", "keep me"},
      {"self", "./self", "keep me"},
      {"self", "sub/../self", "keep me"},
      {"missing", "out", old},
      {"sub", "out", old},
      {"missing", "new", std::nullopt},
      {"nul", "noDir/out", std::nullopt},
  };
  for (const CopyCase& c : kCases) {
    SCOPED_TRACE(string(c.srce) + " -> " + c.dest);
    gutest::writeFile(path("out"), old);
    copyFileWr(path(c.srce), path(c.dest));
    ASSERT_EQ(c.destAfter.has_value(), fs::exists(path(c.dest)));
    // Not EXPECT_EQ: a failure would print megabytes.
    if (c.destAfter) {
      EXPECT_TRUE(*c.destAfter == gutest::readFile(path(c.dest)));
    }
    fs::remove(path("new"));
  }
  EXPECT_TRUE(fs::is_symlink(path("selfLink")));
}
