// The generalutils tool end to end: real child processes, real files and pipes on stdin.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace ::testing;
using Argv = std::vector<std::string>;
using namespace std::string_literals;

namespace {

// Any single diagnostic line of the tool.
const Matcher<const std::string&> kOneLine = MatchesRegex("generalutils: [^\n]*\n");

// n bytes from lowest to 255, the first one 'x' so that the text never reads as an option.
std::string randomBytes(size_t n, unsigned seed, int lowest) {
  std::mt19937 rng(seed);
  std::string s(n, 'x');
  for (size_t i = 1; i < n; ++i) s[i] = static_cast<char>(lowest + rng() % (256 - lowest));
  return s;
}

class Tool : public gutest::TempDirTest {
 protected:
  void SetUp() override {
    if (gutest::tool().empty()) GTEST_SKIP() << "the generalutils tool is not built";
    gutest::TempDirTest::SetUp();
  }
  static gutest::RunResult tool(Argv argv, const std::string& in = "") {
    argv.insert(argv.begin(), gutest::tool());
    return gutest::run(argv, in);
  }
};

TEST_F(Tool, Subcommands) {
  const std::string f9 = path("f9"), f0 = path("f0"), copy = path("copy"), none = path("none");
  gutest::writeFile(f9, "123456789");
  gutest::writeFile(f0, "");
  gutest::writeFile(path(".did"), "CID-7\r\nnext");
  const std::string exeDir = std::filesystem::canonical(gutest::tool()).parent_path();
  // As large as one argv entry may be, with every byte but NUL: nothing in it may crash the tool.
  const std::string junk = randomBytes(100000, 7, 1);
  std::string name;
  const UINT count = GeneralUtils::GetFirstFunctionNameAndCount(junk, name);
  struct Case {
    Argv argv;
    std::string in;
    Matcher<const std::string&> out, err;
    int status;
  };
  const Case kCases[] = {
      // {argv}, stdin, stdout, stderr, exit status
      {{"chain", "a.foo(1).foo(2)"}, "", "foo(\t2\n", "", 0},
      {{"chain", "(a)"}, "", "", "generalutils: chain: no function name in '(a)'\n", 2},
      {{"chain", junk}, "", name + "\t" + std::to_string(count) + "\n", "", 0},
      {{"crc32c"}, "123456789", "e3069283 -\n", "", 0},
      {{"crc32c", f9, none, f0}, "", "e3069283 " + f9 + "\n00000000 " + f0 + "\n", kOneLine, 1},
      {{"hash8", "abc"}, "", "59000000\n", "", 0},
      {{"strhash", "abc"}, "", "62C4\n", "", 0},
      {{"strhash", junk}, "", "", kOneLine, 2},
      {{"urlencode", "a b/c?d=e&f"}, "", "a%20b%2Fc%3Fd%3De%26f\n", "", 0},
      {{"urlencode"}, "x y\n", "x%20y%0A\n", "", 0},
      {{"urlencode", ""}, "not read", "\n", "", 0},
      {{"urlencode", junk}, "", GeneralUtils::EncodeURL(junk) + "\n", "", 0},
      {{"split", "-0", ",", "a,,b,"}, "", "a\0\0b\0\0"s, "", 0},
      {{"split", ",,", "x"}, "", "", kOneLine, 2},
      {{"cut", "first", "/", "a/b/c"}, "", "a\n", "", 0},
      {{"cut", "last", "/", "a/b/c"}, "", "a/b\n", "", 0},
      {{"cut", "after-first", "/", "a/b/c"}, "", "b/c\n", "", 0},
      {{"cut", "after-last", "/", "a/b/c"}, "", "c\n", "", 0},
      {{"cut", "middle", "/", "a/b/c"}, "", "", kOneLine, 2},
      {{"firstline", "ab\ncd\r"}, "", "ab\ncd\n", "", 0},
      {{"exists", dir_}, "", "", "", 0},
      {{"exists", none}, "", "", "", 1},
      {{"isdir", dir_ + "/"}, "", "", "", 0},
      {{"writable", none}, "", "", "", 1},
      {{"join", "a/", "b"}, "", "a/b\n", "", 0},
      {{"size", f9}, "", "9\n", "", 0},
      {{"size", none}, "", "", "generalutils: size: Cannot open file: \n", 1},
      {{"cmp", f9, f0}, "", "", "", 1},
      {{"cp", f9, copy}, "", "", "", 0},
      {{"cmp", f9, copy}, "", "", "", 0},
      {{"cp", f9, f9}, "", "", EndsWith(" are the same file\n"), 1},
      {{"cid", dir_}, "", "CID-7\r\n", "", 0},
      {{"cid", none}, "", "", "generalutils: cid: no CID in " + none + "/.did\n", 1},
      {{"exedir"}, "", exeDir + "\n", "", 0},
      {{"tmpdir"}, "", "/var/tmp\n", "", 0},
      {{"exec", "printf 'a\\tb\\r\\nc'; echo e >&2"}, "", "a\tb\r\nc", "e\n", 0},
      {{"readline", "5"}, "abcdefg\n", "abcd\n", "", 0},
      {{"readline"}, "line\r\nrest", "line\r\n", "", 0},
      {{"readline", "0"}, "x\n", "", kOneLine, 2},
      {{"--help"}, "", HasSubstr("crc32c"), "", 0},
      {{"cut", "--help"}, "", HasSubstr("after-last"), "", 0},
      {{"--version"}, "", MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"), "", 0},
      {{}, "", "", HasSubstr("Subcommands:"), 2},
      {{"frobnicate"}, "", "", kOneLine, 2},
  };
  for (const Case& c : kCases) {
    SCOPED_TRACE(PrintToString(c.argv).substr(0, 100));
    const gutest::RunResult r = tool(c.argv, c.in);
    EXPECT_THAT(r.out, c.out);
    EXPECT_THAT(r.err, c.err);
    EXPECT_EQ(c.status, r.status);
  }
}

TEST_F(Tool, InfoAgreesWithFingerprint) {
  const gutest::RunResult json = tool({"info", "--json"});
  ASSERT_EQ(0, json.status) << json.err;
  const auto doc = nlohmann::ordered_json::parse(json.out);
  std::vector<std::string> keys;
  for (const auto& item : doc.items()) keys.push_back(item.key());
  EXPECT_THAT(keys, ElementsAre("os", "node_name", "machine_details_hash", "mac_hash", "cpu_hash",
                                "fingerprint_input", "fingerprint", "exe_dir", "temp_folder",
                                "cid_file", "cid"));
  const std::string fingerprint = doc["fingerprint"];
  EXPECT_EQ(fingerprint + "\n", tool({"fingerprint"}).out);
  const std::string text = tool({"info"}).out;
  EXPECT_EQ(11, std::count(text.begin(), text.end(), '\n')) << text;
  EXPECT_THAT(text, HasSubstr("\nfingerprint:          " + fingerprint + "\n"));
}

TEST_F(Tool, Crc32cStreamsInBlocks) {
  // Three 64 KiB blocks and a part: the chained blocks must give the one-call value.
  const std::string data = randomBytes(3 * 65536 + 1234, 11, 0), big = path("big");
  gutest::writeFile(big, data);
  const std::string want = GeneralUtils::sprintfString(
      "%08x",
      GeneralUtils::crc32c(0, reinterpret_cast<const unsigned char*>(data.data()), data.size()));
  EXPECT_EQ(want + " " + big + "\n", tool({"crc32c", big}).out);
  EXPECT_EQ(want + " -\n", tool({"crc32c", "-"}, data).out);
  // 16 MiB more input costs no memory: the peak RSS grows by far less than the file's size.
  const std::string sparse = path("sparse");
  gutest::writeFile(sparse, "");
  std::filesystem::resize_file(sparse, 16 << 20);
  rusage before{}, after{};
  ASSERT_EQ(0, ::getrusage(RUSAGE_CHILDREN, &before));
  EXPECT_THAT(tool({"crc32c", sparse}).out, EndsWith(" " + sparse + "\n"));
  ASSERT_EQ(0, ::getrusage(RUSAGE_CHILDREN, &after));
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 4 << 10) << "KiB";
}

}  // namespace
