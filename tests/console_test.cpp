// Console line input from a real pipe on a child's standard input, closed once the input is
// written, so that end of input is real.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;
using std::string;
using namespace std::string_literals;

static void show(const string& line) { std::printf("[%s]", line.c_str()); }

// readLine into n bytes prefilled with 'X', every one of them shown.
static void readLineAndShowBuffer(int n) {
  string buffer(static_cast<size_t>(n), 'X');
  readLine(&buffer[0], n);
  std::fwrite(("{" + buffer + "}").data(), 1, buffer.size() + 2, stdout);
}

TEST(Console, ReadsLinesFromStandardInput) {
  const struct {
    string input;
    std::function<void()> reads;
    string shown;
  } kCases[] = {
      // A limit of 5 takes 4 bytes and leaves the rest of the line, which readLine reads into
      // its buffer with a NUL behind; a line starting with NUL reads as empty.
      {"abcdefg\n\0ab\ncd\n"s,
       [] {
         show(readLineToStdString(5));
         readLineAndShowBuffer(5);
         show(readLineToStdString(8));
       },
       "[abcd]{efg\0\0}[]"s},
      // A line of 4 leaves its line feed, which reads as an empty line; a CR stays.
      {"abcd\nxy\nab\r\n",
       [] {
         for (int i = 0; i < 4; ++i) show(readLineToStdString(5));
       },
       "[abcd][][xy][ab\r]"},
      // A last line without '\n', then end of input, where the buffer still gets its NUL.
      {"ab",
       [] {
         show(readLineToStdString(5));
         readLineAndShowBuffer(4);
         clean_stdin();
       },
       "[ab]{\0XXX}"s},
      // Limits below 2 and a null buffer read nothing; a limit of 2 takes one byte.
      {"ab\n",
       [] {
         readLine(nullptr, 5);
         for (const int limit : {0, -3, 1}) show(readLineToStdString(limit));
         readLineAndShowBuffer(1);
         show(readLineToStdString(2));
         show(readLineToStdString(5));
       },
       "[][][]{\0}[a][b]"s},
      // An error flag that an earlier failed read left on stdin makes no read error of this
      // one: a last line without '\n' still comes back whole.
      {"abc",
       [] {
         const int input = ::dup(0);
         ::dup2(::open("/", O_RDONLY | O_CLOEXEC), 0);  // a directory, which read() refuses
         std::getc(stdin);
         ::dup2(input, 0);
         show(readLineToStdString(8));
       },
       "[abc]"},
      // clean_stdin drops the rest of a line; after a whole line it swallows the next one.
      {"abcdefg\nhi\njk\nlm\n",
       [] {
         show(readLineToStdString(5));
         clean_stdin();
         show(readLineToStdString(5));
         clean_stdin();
         show(readLineToStdString(5));
       },
       "[abcd][hi][lm]"},
  };
  for (const auto& c : kCases) {
    const auto r = gutest::runInChild(
        [&c] {
          c.reads();
          return 0;
        },
        c.input);
    EXPECT_EQ(c.shown, r.out) << testing::PrintToString(c.input);
  }
}
