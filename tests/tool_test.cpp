// The generalutils tool end to end: real child processes, real files, a FIFO and devices, pipes
// on standard input, interfaces in a namespace of its own.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>

#include "GeneralUtils.h"
#include "test_support.h"
#include "tool_limits.h"

using namespace ::testing;
using Text = Matcher<const std::string&>;

using Tool = gutest::TempDirTest;

// Every subcommand with its arguments, in the order of --help.
static const char kCalls[] =
    "chain TEXT\nhash8 TEXT\nstrhash TEXT\nurlencode [TEXT]\nsplit [-0] SEP TEXT\n"
    "cut MODE TOKEN TEXT\nfirstline TEXT\ncrc32c [OPTIONS] [FILE...]\nexists PATH\nisdir PATH\n"
    "writable PATH\njoin FOLDER FILE\nsize FILE\ncmp [-s] A B\ncp SRC DST\nfingerprint\n"
    "info [--json]\nexedir\ntmpdir\ncid [DIR]\nexec CMD\nreadline [N]\n";

TEST_F(Tool, Contract) {
  const std::string T = GU_TOOL, t = "'" + T + "' ", f9 = path("f9"), copy = path("copy"),
                    none = path("none"), fifo = path("fifo"), odd = path("a\nb\\c"), e = path("e"),
                    most(gutool::kStrhashMost, 'a'),
                    toolDir = std::filesystem::canonical(T).parent_path().string();
  // The completion of the words behind `complete`, one offer a line.
  const std::string complete =
      "source '" + T + ".bash'; c() { COMP_WORDS=(generalutils \"$@\"); " +
      "COMP_CWORD=$#; _generalutils; printf '%s\\n' \"${COMPREPLY[@]}\"; }; c ";
  std::string names;  // the subcommands alone
  for (const auto& call : GeneralUtils::splitString(kCalls, '\n'))
    if (!call.empty()) names += GeneralUtils::GetUntilFirstSpecifiedString(call, " ") + "\n";
  for (const std::string& f : {f9, path("f9b"), odd}) gutest::writeFile(f, "123456789");
  gutest::writeFile(path(".did"), "CID-7\r\nnext");
  ASSERT_EQ(0, ::mkdir(e.c_str(), 0755) | ::mkfifo(fifo.c_str(), 0600));
  gutest::writeFile(e + "/.did", "\nCID-8");
  // clang-format off
  struct { std::vector<std::string> argv; std::string in; Text out, err; int status; } cases[] = {
      // {argv}, stdin, stdout, stderr, exit status
      {{T}, "", "", HasSubstr("Subcommands:"), 2},
      {{T, "--version"}, "", "generalutils " GU_VERSION "\n", "", 0},
      // --help's list (the manual page is its rendering) and the completion offer every subcommand.
      {{"sh", "-c", t + "--help | sed -nE '/^Subcommands:/,/^$/s/^  ([^ ]+( [^ ]+)*)  +.*/\\1/p'"}, "", kCalls, "", 0},
      {{"bash", "-c", complete + "''"}, "", names, "", 0},
      {{"bash", "-c", complete + "cut a"}, "", "after-first\nafter-last\n", "", 0},
      {{T, "crc32"}, "", "", "generalutils: 'crc32' is not a subcommand; see 'generalutils --help'\n", 2},
      {{T, "-x"}, "", "", "generalutils: unknown option '-x'; see 'generalutils --help'\n", 2},
      {{T, "hash8", "-abc"}, "", "", "generalutils: hash8: unknown option '-abc'; put a text that begins with '-' behind '--'\n", 2},
      {{T, "tmpdir", "-x"}, "", "", "generalutils: tmpdir: unknown option '-x'; see 'generalutils tmpdir --help'\n", 2},
      {{T, "hash8"}, "", "", "generalutils: hash8: TEXT is required\n", 2},
      {{T, "split", "--", "-ab", "x"}, "", "", "generalutils: split: SEP: must be exactly one byte\n", 2},
      {{T, "split", "", "x"}, "", "", "generalutils: split: SEP: must be exactly one byte\n", 2},
      {{T, "cut", "middle", "/", "a"}, "", "", "generalutils: cut: MODE: middle not in {after-first,after-last,first,last}\n", 2},
      {{T, "strhash", most + "a"}, "", "", "generalutils: strhash: TEXT: longer than 65535 bytes, the most a 16-bit length covers\n", 2},
      {{T, "readline", "0"}, "", "", "generalutils: readline: N: Value 0 not in range 1 to 1048576\n", 2},
      {{T, "readline", "1048577"}, "", "", "generalutils: readline: N: Value 1048577 not in range 1 to 1048576\n", 2},
      {{T, "chain", "a.foo(1).bar(2).foo(3)"}, "", "foo(\t2\n", "", 0},
      {{T, "chain", "a\nb\rc"}, "", "", "generalutils: chain: 'a b c': no call: the text has no '('\n", 1},
      {{T, "chain", "(a)"}, "", "", "generalutils: chain: '(a)': GetFirstFunctionNameAndCount: no function name in the chain text\n", 1},
      {{T, "crc32c"}, "123456789", "e3069283 -\n", "", 0},
      {{T, "crc32c", "-", "-"}, "123456789", "e3069283 -\n00000000 -\n", "", 0},
      {{T, "crc32c", f9, none, odd}, "", "e3069283 " + f9 + "\n\\e3069283 " + dir_ + "/a\\nb\\\\c\n", "generalutils: crc32c: '" + none + "': No such file or directory\n", 1},
      {{T, "hash8", "abc"}, "", "59000000\n", "", 0},
      // Standard output that takes no more is a failure with the subcommand's own status.
      {{"sh", "-c", t + "hash8 abc >/dev/full"}, "", "", "generalutils: hash8: 'standard output': No space left on device\n", 1},
      {{"sh", "-c", t + "exec 'echo hi' >/dev/full"}, "", "", "generalutils: exec: 'standard output': No space left on device\n", 125},
      {{T, "strhash", "abc"}, "", "62C4\n", "", 0},
      {{T, "strhash", most}, "", "1F00\n", "", 0},  // 32768 * 0x61 + 32767 * 0x6100, cut to 16 bits
      {{T, "urlencode", "a/b c"}, "", "a%2Fb%20c\n", "", 0},
      {{T, "urlencode", ""}, "stdin", "\n", "", 0},  // an empty TEXT is a TEXT
      {{T, "split", ",", "a,,b,"}, "", "a\n\nb\n\n", "", 0},
      {{T, "split", "-0", ",", "a,b"}, "", std::string("a\0b\0", 4), "", 0},
      // One row per cut mode: a mode mapped to the wrong cut shows.
      {{T, "cut", "first", "/", "a/b/c"}, "", "a\n", "", 0},
      {{T, "cut", "last", "/", "a/b/c"}, "", "a/b\n", "", 0},
      {{T, "cut", "after-first", "/", "a/b/c"}, "", "b/c\n", "", 0},
      {{T, "cut", "after-last", "/", "a/b/c"}, "", "c\n", "", 0},
      {{T, "firstline", "ab\ncd\r"}, "", "ab\ncd\n", "", 0},
      {{T, "exists", dir_}, "", "", "", 0},
      {{T, "exists", none}, "", "", "", 1},
      {{T, "isdir", f9}, "", "", "", 1},
      {{T, "isdir", dir_ + "\\"}, "", "", "", 0},
      {{T, "writable", "/proc/sys/kernel/ostype"}, "", "", "", 1},  // read-only even for root
      {{T, "writable", f9}, "", "", "", 0},
      {{T, "join", "a/", "b"}, "", "a/b\n", "", 0},
      {{T, "exedir"}, "", toolDir + "\n", "", 0},
      {{T, "tmpdir"}, "", "/var/tmp\n", "", 0},
      {{T, "fingerprint"}, "", GeneralUtils::GetSystemFingerprint() + "\n", "", 0},
      {{T, "size", f9}, "", "9\n", "", 0},
      {{T, "size", dir_}, "", "", "generalutils: size: '" + dir_ + "': Is a directory\n", 1},
      {{"sh", "-c", t + "cp " + f9 + " " + copy + " && cat " + copy}, "", "123456789", "", 0},
      // Into the directory, under the source's last name; also through a link to it.
      {{"sh", "-c", t + "cp '" + odd + "' " + e + " && cat '" + e + "/a\nb\\c'"}, "", "123456789", "", 0},
      {{"sh", "-c", "ln -s " + e + " " + path("link") + " && " + t + "cp " + f9 + " " + path("link") + " && cat " + e + "/f9"}, "", "123456789", "", 0},
      {{T, "cmp", f9, path("f9b")}, "", "", "", 0},
      {{T, "cmp", "-s", f9, path(".did")}, "", "", "", 1},
      {{T, "cmp", "--quiet", f9, f9}, "", "", "", 0},
      {{T, "cmp", "--silent", f9, path(".did")}, "", "", "", 1},
      {{T, "cmp", f9, none}, "", "", "generalutils: cmp: '" + none + "': No such file or directory\n", 2},
      {{T, "cp", f9, "/dev/null"}, "", "", "", 0},
      {{T, "cp", fifo, copy}, "", "", "generalutils: cp: '" + fifo + "': Not a regular file\n", 1},
      {{T, "cp", f9, "/dev/full"}, "", "", "generalutils: cp: '/dev/full': No space left on device\n", 1},
      {{T, "cp", f9, f9}, "", "", "generalutils: cp: '" + f9 + "': Same file as the source\n", 1},
      {{T, "cid", dir_}, "", "CID-7\r\n", "", 0},
      {{T, "cid"}, "", "", "generalutils: cid: '" + toolDir + "/.did': No such file or directory\n", 1},
      {{T, "cid", none}, "", "", "generalutils: cid: '" + none + "/.did': No such file or directory\n", 1},
      {{T, "cid", e}, "", "", "generalutils: cid: '" + e + "/.did': First line is empty\n", 1},
      {{T, "exec", "printf 'a\\tb\\0x\\r\\nc'; echo e >&2; exit 3"}, "", "a\tbc", "e\n", 3},
      {{T, "exec", "printf x; kill -9 $$"}, "", "x", "", 128 + 9},
      {{T, "exec", "--", "-x"}, "", "", ContainsRegex("-x: .*not found"), 127},
      {{"sh", "-c", t + "readline; cat"}, "a\nb\nc\n", "a\nb\nc\n", "", 0},  // nothing read ahead
      {{"sh", "-c", t + "readline 5; cat"}, "abcd\nx\n", "abcd\n\nx\n", "", 0},  // N-1 bytes: LF stays
      {{"sh", "-c", t + "readline 1; cat"}, "ab\n", "\nab\n", "", 0},  // room for none
      {{T, "readline", "1048576"}, "ab\n", "ab\n", "", 0},
      {{T, "readline"}, "tail", "tail\n", "", 0},
      {{T, "readline"}, "", "", "", 1},
      {{"sh", "-c", t + "readline <" + dir_}, "", "", "generalutils: readline: '-': Is a directory\n", 1},
  };
  // clang-format on
  for (auto& c : cases) {
    SCOPED_TRACE(PrintToString(c.argv).substr(0, 100));
    const gutest::RunResult r = gutest::run(c.argv, c.in);
    EXPECT_THAT(r.out, c.out);
    EXPECT_THAT(r.err, c.err);
    EXPECT_EQ(c.status, r.status);
  }
}

// What the tool answers on standard input and files around and across its read blocks (and
// crc32c's own) is what the library answers on the whole input.
TEST_F(Tool, AnswersAcrossReadBlocksAreTheLibrarys) {
  std::mt19937 rng(64);
  for (const size_t size :
       {gutool::kReadBlock - 1, gutool::kReadBlock, gutool::kReadBlock + 1,
        3 * gutool::kReadBlock + 7, gutool::kCrcBlock + 1, 2 * gutool::kCrcBlock + 7}) {
    SCOPED_TRACE(size);
    std::string in(size, '\0');
    for (char& c : in) c = static_cast<char>(rng() % 4 == 0 ? ' ' : rng());
    gutest::writeFile(path("in"), in);
    const auto crc =
        GeneralUtils::crc32c(0, reinterpret_cast<const unsigned char*>(in.data()), size);
    const std::string hex = GeneralUtils::sprintfString("%08x ", crc);
    EXPECT_EQ(GeneralUtils::EncodeURL(in) + "\n", gutest::run({GU_TOOL, "urlencode"}, in).out);
    EXPECT_EQ(hex + "-\n", gutest::run({GU_TOOL, "crc32c"}, in).out);
    EXPECT_EQ(hex + path("in") + "\n", gutest::run({GU_TOOL, "crc32c", path("in")}).out);
  }
}

TEST(ToolMemory, UrlencodeStreamsStandardInput) {
  if (gutest::runShell("/usr/bin/time true").status != 0) GTEST_SKIP() << "no /usr/bin/time (time)";
  // A sanitizer's runtime lists its flags when asked to, and its own memory counts in the RSS.
  if (!gutest::runShell("ASAN_OPTIONS=help=1 TSAN_OPTIONS=help=1 '" GU_TOOL
                        "' tmpdir 2>&1 >/dev/null")
           .out.empty())
    GTEST_SKIP() << "the tool runs under a sanitizer, whose memory counts in its RSS";
  // 32 MiB in, 96 MiB out: holding either whole would pass the 16 MiB (time reports KiB).
  const auto r = gutest::runShell("head -c 33554432 /dev/zero | /usr/bin/time -f %M '" GU_TOOL
                                  "' urlencode | wc -c");
  EXPECT_EQ("100663297\n", r.out);
  EXPECT_LT(std::stol(r.err), 16384);
}

// info in namespaces of its own, from a copy of the tool beside a .did: every field under its
// own name, in both forms, with the values the library gives for a known host.
TEST_F(Tool, InfoShowsEachPartUnderItsName) {
  unsigned short cpu = 0;
  if (!gutest::cpuHashFromKernel(cpu)) GTEST_SKIP() << "/proc/cpuinfo has no vendor_id";
  ASSERT_EQ(0, gutest::run({"cp", GU_TOOL, path("gu")}).status);
  gutest::writeFile(path(".did"), "CID-9\nnext");
  std::vector<std::vector<std::string>> setup = {{"ip", "link", "set", "lo", "up"}};
  for (const char* veth : {"a0 02:11:22:33:44:55", "e0 02:ff:ff:ff:ff:ff"}) {
    for (auto& command : gutest::vethCommands(std::string(veth, 2), veth + 3)) {
      setup.push_back(command);
    }
  }
  const gutest::RunResult r = gutest::runInNamespaces(setup, [this] {
    if (::sethostname("build01", 7) != 0) return 1;
    std::printf("%s%s", gutest::run({path("gu"), "info", "--json"}).out.c_str(),
                gutest::run({path("gu"), "info"}).out.c_str());
    return 0;
  });
  if (r.status == gutest::kNoNamespaces) GTEST_SKIP() << r.err;
  // lo counts with 0000, a0 with 0x9968 (even bytes plain, odd ones shifted left by 8); e0 is
  // the third. build01's own hash is 0x1260.
  const GeneralUtils::FingerprintParts parts = {0x9968, "build01", cpu, 0x1260};
  const std::pair<const char*, std::string> kFields[] = {
      {"os", GeneralUtils::GetOS_Name()},
      {"node_name", "build01"},
      {"machine_details_hash", "1260"},
      {"mac_hash", "9968"},
      {"cpu_hash", GeneralUtils::sprintfString("%04X", cpu)},
      {"fingerprint_input", GeneralUtils::fingerprintText(parts)},
      {"fingerprint", GeneralUtils::fingerprintOfParts(parts)},
      {"exe_dir", dir_},
      {"temp_folder", "/var/tmp"},
      {"cid_file", path(".did")},
      {"cid", "CID-9"},
  };
  const size_t split = r.out.find("\n}\n") + 2;  // the text form starts behind the JSON
  const auto doc = nlohmann::json::parse(r.out.substr(0, split));
  for (const auto& [key, value] : kFields) {
    EXPECT_EQ(value, doc.at(key)) << key;
    // The aligned form: the key with blanks for '_', a colon, blanks up to column 23.
    std::string label = std::string(key) + ':';
    std::replace(label.begin(), label.end(), '_', ' ');
    EXPECT_THAT(r.out.substr(split),
                HasSubstr("\n" + label + std::string(22 - label.size(), ' ') + value + "\n"))
        << key;
  }
  EXPECT_EQ(R"([{"address":"00:00:00:00:00:00","counted":true,"hash":"0000","name":"lo"},)"
            R"({"address":"02:11:22:33:44:55","counted":true,"hash":"9968","name":"a0"},)"
            R"({"address":"02:ff:ff:ff:ff:ff","counted":false,"hash":"FF00","name":"e0"}])",
            doc.at("interfaces").dump());
  EXPECT_THAT(r.out, EndsWith("\ninterface:            lo 00:00:00:00:00:00 0000 counted\n"
                              "interface:            a0 02:11:22:33:44:55 9968 counted\n"
                              "interface:            e0 02:ff:ff:ff:ff:ff FF00 uncounted\n"));
}
