// Formatting and narrowing: sprintfString, padString, wstringToString, wcharToString, and the
// header used from C++11.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <stdexcept>

#include "GeneralUtils.h"

std::string cxx11Check();  // cxx11_check.cpp, compiled as C++11

using GeneralUtils::sprintfString;

TEST(Format, Sprintf) {
  EXPECT_EQ("k=-7 2.50 z ff 100%", sprintfString("%s=%d %.2f %c %x 100%%", "k", -7, 2.5, 'z', 255));
  // "[%s]" has (4 + 25) * 2 = 58 bytes at first: 57 bytes of output and the NUL fit, while 58
  // bytes or 1 MiB take a second pass, which has to read the arguments afresh.
  for (size_t len : {57, 58, 1 << 20}) {
    const std::string arg(len - 2, 'x');
    EXPECT_EQ("[" + arg + "]", sprintfString("[%s]", arg.c_str())) << len;
  }
}

// A wide character the C locale cannot convert fails every pass alike: the error comes at
// once, from the first buffer, not after doubling it towards INT_MAX, which would have
// touched gigabytes.
TEST(Format, HopelessFormatFailsAtOnce) {
  rusage before{}, after{};
  ::getrusage(RUSAGE_SELF, &before);
  EXPECT_THROW(sprintfString("name=%ls", L"Jos\x00E9"), std::length_error);
  EXPECT_THROW(sprintfString("%ls", L"\x20AC"), std::length_error);
  ::getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 65536);  // KiB
}

TEST(Format, PadString) {
  std::string s[] = {"7", "7", "abc"};
  GeneralUtils::padString(s[0], 3, true, '0');
  GeneralUtils::padString(s[1], 3, false, '*');
  GeneralUtils::padString(s[2], 1, true, '.');  // never shortens
  EXPECT_THAT(s, testing::ElementsAre("007", "7**", "abc"));
}

TEST(Format, NarrowingKeepsLowByte) {
  std::wstring wide = L"caf\x00E9 \x20AC\x0100z";  // U+0100 narrows to a NUL, which stays
  const std::string narrow("caf\xE9 \xAC\0z", 8);
  EXPECT_EQ(narrow, GeneralUtils::wstringToString(wide));
  EXPECT_EQ(narrow, GeneralUtils::wcharToString(&wide[0]));
  EXPECT_EQ("", GeneralUtils::wcharToString(nullptr));
}

TEST(Format, HeaderWorksFromCxx11) { EXPECT_EQ("nulled", cxx11Check()); }
