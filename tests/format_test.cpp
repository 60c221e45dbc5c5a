// Formatting and narrowing: sprintfString, padString, wstringToString, wcharToString, and the
// header used from C++11.
#include <gtest/gtest.h>

#include <clocale>
#include <stdexcept>
#include <string>

#include "GeneralUtils.h"

// Clang names ThreadSanitizer through __has_feature; gcc, which lacks it before 14, through
// __SANITIZE_THREAD__.
#ifdef __has_feature
#define GU_HAS_FEATURE(x) __has_feature(x)
#else
#define GU_HAS_FEATURE(x) 0
#endif

std::string cxx11Check();  // cxx11_check.cpp, compiled as C++11

namespace {

using GeneralUtils::sprintfString;

TEST(Format, Sprintf) {
  EXPECT_EQ("", sprintfString(""));
  EXPECT_EQ("k=-7 2.50 z ff 100%", sprintfString("%s=%d %.2f %c %x 100%%", "k", -7, 2.5, 'z', 255));
  // "[%s]" has (4 + 25) * 2 = 58 bytes at first: 57 bytes of output and the NUL fit, while 58
  // bytes or 1 MiB take a second pass, which has to read the arguments afresh.
  for (size_t len : {57, 58, 1 << 20}) {
    const std::string arg(len - 2, 'x');
    EXPECT_EQ("[" + arg + "]", sprintfString("[%s]", arg.c_str())) << len;
  }
}

// "%ls" of U+20AC fails with EILSEQ in the C locale on every pass, so the size doubles until
// it passes INT_MAX; the passes allocate up to about 1.7 GB on the way.
TEST(Format, FailingFormatEndsInLengthError) {
#if GU_HAS_FEATURE(thread_sanitizer) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "1.7 GB of allocations take minutes under ThreadSanitizer's shadow memory";
#endif
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C"));
  EXPECT_THROW(sprintfString("%ls", L"\x20AC"), std::length_error);
}

TEST(Format, PadString) {
  // clang-format off
  struct { std::string str; const char* want; size_t num; bool left; char pad; } cases[] = {
      // str    want    num  left   pad
      {"7",     "007",  3,   true,  '0'},
      {"7",     "7**",  3,   false, '*'},
      {"abc",   "abc",  1,   true,  '.'},  // never shortens
  };
  // clang-format on
  for (auto& c : cases) {
    GeneralUtils::padString(c.str, c.num, c.left, c.pad);
    EXPECT_EQ(c.want, c.str) << c.num << (c.left ? " from the left" : " from the right");
  }
}

TEST(Format, NarrowingKeepsLowByte) {
  std::wstring wide = L"caf\x00E9 \x20AC\x0100z";  // U+0100 narrows to a NUL, which stays
  const std::string narrow("caf\xE9 \xAC\0z", 8);
  EXPECT_EQ(narrow, GeneralUtils::wstringToString(wide));
  EXPECT_EQ(narrow, GeneralUtils::wcharToString(&wide[0]));
  EXPECT_EQ("", GeneralUtils::wcharToString(nullptr));
}

TEST(Format, HeaderWorksFromCxx11) { EXPECT_EQ("62C4|a%20b|nulled", cxx11Check()); }

}  // namespace
