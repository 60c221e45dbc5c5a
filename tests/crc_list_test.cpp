// crc32c's checksum lists end to end: written by the tool, files changed, checked back.
#include <gmock/gmock.h>
#include <unistd.h>

#include "test_support.h"
#include "tool_limits.h"

namespace {

using namespace std::string_literals;
using Strings = std::vector<std::string>;

// Runs in its temp directory, so that names are relative and may begin with a blank.
class CrcList : public gutest::TempDirTest {
  void SetUp() override {
    TempDirTest::SetUp();
    ASSERT_EQ(0, ::chdir(dir_.c_str()));
  }
};

gutest::RunResult runCrc32c(const Strings& args, const std::string& in = "") {
  Strings argv = {GU_TOOL, "crc32c"};
  argv.insert(argv.end(), args.begin(), args.end());
  return gutest::run(argv, in);
}

std::string message(const std::string& file, const std::string& reason) {
  return "generalutils: crc32c: '" + file + "': " + reason + "\n";
}

std::string warning(const std::string& file, const std::string& count) {
  return message(file, "WARNING: " + count);
}

// Names that need escaping, that a reader could take for a mode mark, an option or the end of
// the --tag form, and that are not ASCII; and how a LF-ended result line shows each.
struct Name {
  std::string name, shown;
};
const Name kNames[] = {{"plain", "plain"},   {"a\nb", "\\a\\nb"},  {"c\rd", "\\c\\rd"},
                       {"e\\f", "\\e\\\\f"}, {" lead", " lead"},   {"*star", "*star"},
                       {"-dash", "-dash"},   {"x) = y", "x) = y"}, {"\xc3\xbc\xe2\x82\xac", "ü€"}};

TEST_F(CrcList, EveryFormChecksBackAndShowsEachChange) {
  for (const Strings& form : {Strings{}, Strings{"--tag"}, Strings{"-z"}, {"--tag", "-z"}}) {
    SCOPED_TRACE(testing::PrintToString(form));
    const bool zero = !form.empty() && form.back() == "-z";
    Strings args = form;
    args.push_back("--");
    std::string out;  // each name as a result line shows it, after the changes below
    for (const Name& n : kNames) {
      gutest::writeFile(n.name, "holds " + n.name);
      args.push_back(n.name);
      const char* result = n.name == "plain"   ? "FAILED"
                           : n.name == "-dash" ? "FAILED open or read"
                                               : "OK";
      out += (zero ? n.name : n.shown) + ": " + result + (zero ? '\0' : '\n');
    }
    const gutest::RunResult written = runCrc32c(args);
    ASSERT_EQ(0, written.status) << written.err;
    gutest::writeFile("list", written.out + (zero ? "junk\0"s : "junk\n"s));
    gutest::writeFile("plain", "changed");
    ASSERT_EQ(0, ::unlink("-dash"));
    const gutest::RunResult r = runCrc32c({zero ? "-cz" : "-c", "list"});
    EXPECT_EQ(out, r.out);
    EXPECT_EQ(message("-dash", "No such file or directory") +
                  warning("list", "1 line is improperly formatted") +
                  warning("list", "1 listed file could not be read") +
                  warning("list", "1 computed checksum did NOT match"),
              r.err);
    EXPECT_EQ(1, r.status);
  }
}

TEST_F(CrcList, OptionsAndForms) {
  for (const char* name : {"f9", " b", "*s", "c\rd"}) gutest::writeFile(name, "123456789");
  const std::string good = "e3069283 f9\n", bad = "00000000 f9\n", gone = "e3069283 none\n",
                    junk = "junk\n", none = message("none", "No such file or directory"),
                    twice = "e3069283 f9\0e3069283 f9\r\0"s;
  const std::string bad8 =  // eight lines the reader must not take
      "e3069283f9\ne306928 f9\ne3069283 \n\\e3069283 f\\q\nCRC32C (f9) = e306928\n"
      "CRC32C (f9) = 0e3069283\ncrc32c (f9) = e3069283\ne3069283\tf9\n";
  // clang-format off
  struct { Strings args; std::string in, out, err; int status; } cases[] = {
      // args, list on standard input, stdout, stderr, exit status
      {{"f9", " b", "*s", "c\rd"}, "", "e3069283 f9\ne3069283   b\ne3069283  *s\n\\e3069283 c\\rd\n", "", 0},
      {{"--tag", "c\rd", " b"}, "", "\\CRC32C (c\\rd) = e3069283\nCRC32C ( b) = e3069283\n", "", 0},
      {{"-z", "c\rd", " b"}, "", "e3069283 c\rd\0e3069283   b\0"s, "", 0},
      {{"-c"}, good + bad + junk + gone, "f9: OK\nf9: FAILED\nnone: FAILED open or read\n",
       none + warning("-", "1 line is improperly formatted") + warning("-", "1 listed file could not be read") + warning("-", "1 computed checksum did NOT match"), 1},
      {{"-c", "--quiet"}, good + bad + bad + gone + gone + junk + junk, "f9: FAILED\nf9: FAILED\nnone: FAILED open or read\nnone: FAILED open or read\n",
       none + none + warning("-", "2 lines are improperly formatted") + warning("-", "2 listed files could not be read") + warning("-", "2 computed checksums did NOT match"), 1},
      {{"-c", "--status"}, good + bad + junk + gone, "", "", 1},
      {{"-c", "--status"}, good, "", "", 0},
      {{"-c", "--status"}, junk, "", message("-", "no properly formatted checksum lines found"), 1},
      {{"-c"}, "", "", message("-", "no properly formatted checksum lines found"), 1},
      {{"-c", "-w"}, "# note\n" + junk + good + "\n" + junk, "f9: OK\n",
       message("-", "2: improperly formatted checksum line") + message("-", "5: improperly formatted checksum line") + warning("-", "2 lines are improperly formatted"), 0},
      {{"-c", "--strict"}, good + junk, "f9: OK\n", warning("-", "1 line is improperly formatted"), 1},
      {{"-c", "--strict"}, good, "f9: OK\n", "", 0},
      {{"-c", "--ignore-missing"}, gone + good + gone, "f9: OK\n", "", 0},
      {{"-c", "--ignore-missing"}, gone, "", message("-", "no file was verified"), 1},
      // Only a file that does not exist is ignored; one that can't be read is not.
      {{"-c", "--ignore-missing"}, "e3069283 .\n" + good, ".: FAILED open or read\nf9: OK\n", message(".", "Is a directory") + warning("-", "1 listed file could not be read"), 1},
      {{"-c"}, "e3069283 f9", "f9: OK\n", "", 0},  // a last line without its LF
      // Either case, a mode mark, CR LF, the --tag form and escapes are all read.
      {{"-c"}, "E3069283 *f9\r\ne3069283  f9\nCRC32C (f9) = E3069283\n\\e3069283 c\\rd\n", "f9: OK\nf9: OK\nf9: OK\n\\c\\rd: OK\n", "", 0},
      {{"-c"}, good + bad8, "f9: OK\n", warning("-", "8 lines are improperly formatted"), 0},
      // NUL-ended lines are read as they are: a CR before the NUL is the name's own.
      {{"-c", "-z"}, twice, "f9: OK\0f9\r: FAILED open or read\0"s, message("f9 ", "No such file or directory") + warning("-", "1 listed file could not be read"), 1},
      // Any list that fails, not only the last, fails the whole check.
      {{"-c", "nolist", ".", "-"}, good, "f9: OK\n", message("nolist", "No such file or directory") + message(".", "Is a directory"), 1},
      {{"--quiet"}, "", "", "generalutils: crc32c: --quiet requires --check\n", 2},
      {{"--status"}, "", "", "generalutils: crc32c: --status requires --check\n", 2},
      {{"-w"}, "", "", "generalutils: crc32c: --warn requires --check\n", 2},
      {{"--strict"}, "", "", "generalutils: crc32c: --strict requires --check\n", 2},
      {{"--ignore-missing"}, "", "", "generalutils: crc32c: --ignore-missing requires --check\n", 2},
      {{"--tag", "-c"}, "", "", "generalutils: crc32c: --check excludes --tag\n", 2},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.args) + " | " + testing::PrintToString(c.in));
    const gutest::RunResult r = runCrc32c(c.args, c.in);
    EXPECT_EQ(c.out, r.out);
    EXPECT_EQ(c.err, r.err);
    EXPECT_EQ(c.status, r.status);
  }
}

TEST_F(CrcList, LongListsCrossEveryBlockAndLongLinesAreSkipped) {
  gutest::writeFile("f9", "123456789");
  std::string list;
  std::size_t lines = 0;
  // 12-byte lines: block boundaries fall inside them.
  for (; list.size() < 2 * gutool::kReadBlock; ++lines) list += "e3069283 f9\n";
  // The longest line taken (its name too long to open), one byte more, and a line behind.
  const std::string longest(gutool::kListLineMost - 11, '/');
  list += "e3069283 " + longest + "f9\ne3069283 /" + longest + "f9\n00000000 f9\n";
  // A line over two blocks long whose tail, starting on a block boundary, reads as a line.
  const std::size_t boundary = (list.size() / gutool::kReadBlock + 2) * gutool::kReadBlock;
  list += std::string(boundary - list.size(), 'x') + "e3069283 f9\n";
  gutest::writeFile("list", list);
  const gutest::RunResult r = runCrc32c({"-c", "--quiet", "-w", "list"});
  EXPECT_EQ(longest + "f9: FAILED open or read\nf9: FAILED\n", r.out);
  EXPECT_EQ(
      message(longest + "f9", "File name too long") +
          message("list", std::to_string(lines + 2) + ": improperly formatted checksum line") +
          message("list", std::to_string(lines + 4) + ": improperly formatted checksum line") +
          warning("list", "2 lines are improperly formatted") +
          warning("list", "1 listed file could not be read") +
          warning("list", "1 computed checksum did NOT match"),
      r.err);
  EXPECT_EQ(1, r.status);
}

TEST(CrcListCompletion, OffersTheOptions) {
  const gutest::RunResult r =
      gutest::run({"bash", "-c",
                   "source '" GU_TOOL ".bash'; COMP_WORDS=(generalutils crc32c --s); COMP_CWORD=2; "
                   "_generalutils; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ("--status\n--strict\n", r.out);
}

}  // namespace
