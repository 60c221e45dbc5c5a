// The generalutils tool end to end: real child processes, real files and pipes on stdin.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace ::testing;
using Text = Matcher<const std::string&>;

namespace {

using Tool = gutest::TempDirTest;

TEST_F(Tool, Subcommands) {
  const std::string f9 = path("f9"), copy = path("copy"), none = path("none");
  gutest::writeFile(f9, "123456789");
  gutest::writeFile(path(".did"), "CID-7\r\nnext");
  const std::string exeDir = std::filesystem::canonical(gutest::tool()).parent_path();
  // As large as one argv entry may be, with every byte but NUL: nothing in it may crash the
  // tool. Through a pipe it is also more than one of crc32c's 64 KiB blocks.
  std::string junk(100000, 'x');  // the 'x' stays first, so that it never reads as an option
  std::mt19937 rng(7);
  for (size_t i = 1; i < junk.size(); ++i) junk[i] = static_cast<char>(1 + rng() % 255);
  std::string name;
  const UINT count = GeneralUtils::GetFirstFunctionNameAndCount(junk, name);
  const auto crc =
      GeneralUtils::crc32c(0, reinterpret_cast<const unsigned char*>(junk.data()), junk.size());
  const std::string fp =
      nlohmann::json::parse(gutest::run({gutest::tool(), "info", "--json"}).out).at("fingerprint");
  const Text oneLine = MatchesRegex("generalutils: [^\n]*\n");
  // clang-format off
  struct { std::vector<std::string> argv; std::string in; Text out, err; int status; } cases[] = {
      // {argv}, stdin, stdout, stderr, exit status
      {{"chain", "(a)"}, "", "", "generalutils: chain: no function name in '(a)'\n", 2},
      {{"chain", junk}, "", name + "\t" + std::to_string(count) + "\n", "", 0},
      {{"crc32c"}, junk, GeneralUtils::sprintfString("%08x -\n", crc), "", 0},
      {{"crc32c", f9, none, f9}, "", "e3069283 " + f9 + "\ne3069283 " + f9 + "\n", oneLine, 1},
      {{"hash8", "abc"}, "", "59000000\n", "", 0},
      {{"strhash", "abc"}, "", "62C4\n", "", 0},
      {{"urlencode"}, "x y\n", "x%20y%0A\n", "", 0},
      {{"urlencode", junk}, "", GeneralUtils::EncodeURL(junk) + "\n", "", 0},
      {{"split", ",", "a,,b,"}, "", "a\n\nb\n\n", "", 0},
      {{"cut", "first", "/", "a/b/c"}, "", "a\n", "", 0},
      {{"cut", "last", "/", "a/b/c"}, "", "a/b\n", "", 0},
      {{"cut", "after-first", "/", "a/b/c"}, "", "b/c\n", "", 0},
      {{"cut", "after-last", "/", "a/b/c"}, "", "c\n", "", 0},
      {{"firstline", "ab\ncd\r"}, "", "ab\ncd\n", "", 0},
      {{"exists", dir_}, "", "", "", 0},
      {{"isdir", dir_ + "/"}, "", "", "", 0},
      {{"writable", none}, "", "", "", 1},
      {{"join", "a/", "b"}, "", "a/b\n", "", 0},
      {{"size", f9}, "", "9\n", "", 0},
      {{"size", none}, "", "", "generalutils: size: Cannot open file: \n", 1},
      {{"cp", f9, copy}, "", "", "", 0},
      {{"cmp", f9, copy}, "", "", "", 0},
      {{"cp", f9, f9}, "", "", EndsWith(" are the same file\n"), 1},
      {{"cid", dir_}, "", "CID-7\r\n", "", 0},
      {{"exedir"}, "", exeDir + "\n", "", 0},
      {{"tmpdir"}, "", "/var/tmp\n", "", 0},
      {{"exec", "printf 'a\\tb\\r\\nc'; echo e >&2"}, "", "a\tb\r\nc", "e\n", 0},
      {{"readline", "5"}, "abcdefg\n", "abcd\n", "", 0},
      {{"fingerprint"}, "", fp + "\n", "", 0},
      {{"frobnicate"}, "", "", oneLine, 2},
      {{}, "", "", HasSubstr("Subcommands:"), 2},
  };
  // clang-format on
  for (auto& c : cases) {
    SCOPED_TRACE(PrintToString(c.argv).substr(0, 100));
    c.argv.insert(c.argv.begin(), gutest::tool());
    const gutest::RunResult r = gutest::run(c.argv, c.in);
    EXPECT_THAT(r.out, c.out);
    EXPECT_THAT(r.err, c.err);
    EXPECT_EQ(c.status, r.status);
  }
}

}  // namespace
