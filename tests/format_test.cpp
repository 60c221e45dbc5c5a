// Formatting and narrowing: sprintfString, padString, wstringToString, wcharToString, and the
// header used from C++11.
#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <stdexcept>
#include <string>

#include "GeneralUtils.h"

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define GU_UNDER_TSAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define GU_UNDER_TSAN 1
#endif

std::string cxx11Check();  // cxx11_check.cpp, compiled as C++11

namespace {

using GeneralUtils::sprintfString;

TEST(Format, Results) {
  EXPECT_EQ("", sprintfString(""));
  EXPECT_EQ("42", sprintfString("%d", 42));
  EXPECT_EQ("k=-7 2.50 z 123456789012 ff 100%",
            sprintfString("%s=%d %.2f %c %lu %x 100%%", "k", -7, 2.5, 'z', 123456789012UL, 255u));
  EXPECT_EQ("%d%s", sprintfString("%%d%%s"));
  EXPECT_EQ("abc", sprintfString("%.*s", INT_MAX, "abc"));
  const std::string mib(1 << 20, 'q');
  EXPECT_EQ(mib, sprintfString("%s", mib.c_str()));
  EXPECT_EQ(std::string((1 << 20) - 1, ' ') + "7", sprintfString("%*d", 1 << 20, 7));
}

// The first pass has room for (fmt length + 25) * 2 - 1 bytes; one byte more takes a second.
TEST(Format, FirstPassBoundary) {
  // clang-format off
  const struct { const char *fmt, *before, *after; size_t firstSize; } kCases[] = {
      // fmt                    before  after               firstSize
      {"%s",                    "",     "",                 54},
      {"[%s] and some text",    "[",    "] and some text",  86},
  };
  // clang-format on
  for (const auto& c : kCases) {
    const size_t literal = std::string(c.before).size() + std::string(c.after).size();
    for (size_t outLen = c.firstSize - 2; outLen <= c.firstSize + 1; ++outLen) {
      const std::string arg(outLen - literal, 'x');
      EXPECT_EQ(c.before + arg + c.after, sprintfString(c.fmt, arg.c_str())) << outLen;
    }
  }
}

// "%ls" of U+20AC fails with EILSEQ in the C locale on every pass, so the size doubles until
// it passes INT_MAX; the passes allocate up to about 1.7 GB on the way.
TEST(Format, FailingFormatEndsInLengthError) {
#ifdef GU_UNDER_TSAN
  GTEST_SKIP() << "1.7 GB of single-threaded allocations take minutes under ThreadSanitizer's "
                  "shadow memory and give it nothing to check";
#endif
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C"));
  EXPECT_THROW(sprintfString("%ls", L"\x20AC"), std::length_error);
}

TEST(Format, PadString) {
  // clang-format off
  const struct { const char *str, *want; size_t num; bool left; char pad; } kCases[] = {
      // str    want     num  left   pad
      {"7",     "007",   3,   true,  '0'},
      {"7",     "700",   3,   false, '0'},
      {"abc",   "abc",   3,   true,  '.'},  // never shortens
      {"abc",   "abc",   1,   false, '.'},
      {"",      "**",    2,   true,  '*'},
      {"",      "",      0,   false, '*'},
      {"ab",    "ab   ", 5,   false, ' '},
  };
  // clang-format on
  for (const auto& c : kCases) {
    std::string s = c.str;
    GeneralUtils::padString(s, c.num, c.left, c.pad);
    EXPECT_EQ(c.want, s) << c.str << " to " << c.num << (c.left ? " from the left" : "");
  }
}

TEST(Format, NarrowingKeepsLowByte) {
  // clang-format off
  const struct { std::wstring wide; std::string narrow; } kCases[] = {
      // wide           narrow
      {L"",             ""},
      {L"plain",        "plain"},
      {L"caf\x00E9",    "caf\xE9"},
      {L"\x20AC",       "\xAC"},
      {L"a\x0100z",     std::string("a\0z", 3)},  // the NUL is kept
      {L"\x10FFFF",     "\xFF"},
  };
  // clang-format on
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.narrow));
    EXPECT_EQ(c.narrow, GeneralUtils::wstringToString(c.wide));
    std::wstring copy = c.wide;
    EXPECT_EQ(c.narrow, GeneralUtils::wcharToString(&copy[0]));
  }
  EXPECT_EQ("", GeneralUtils::wcharToString(nullptr));
}

TEST(Format, HeaderWorksFromCxx11) { EXPECT_EQ("v-007|001|62C4|a%20b|3|nulled", cxx11Check()); }

}  // namespace
