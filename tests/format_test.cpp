// Formatting and narrowing: sprintfString, padString, wstringToString, wcharToString, and the
// header used from C++11.
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "GeneralUtils.h"

std::string cxx11Check();  // cxx11_check.cpp, compiled as C++11

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

// The largest single allocation since the last reset, seen through operator new.
static std::atomic<size_t> largestAllocation(0);

// A wide character the C locale cannot convert fails every pass alike: the error comes at
// once, from the first buffer, not after doubling it towards INT_MAX.
TEST(Format, HopelessFormatFailsAtOnce) {
  ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C"));
  largestAllocation = 0;
  EXPECT_THROW(sprintfString("name=%ls", L"Jos\x00E9"), std::length_error);
  EXPECT_THROW(sprintfString("%ls", L"\x20AC"), std::length_error);
  EXPECT_LT(largestAllocation.load(), size_t{4096});
}

TEST(Format, PadString) {
  const auto pad = [](std::string s, size_t num, bool left, char c) {
    GeneralUtils::padString(s, num, left, c);
    return s;
  };
  EXPECT_EQ("007", pad("7", 3, true, '0'));
  EXPECT_EQ("7**", pad("7", 3, false, '*'));
  EXPECT_EQ("abc", pad("abc", 1, true, '.'));  // never shortens
}

TEST(Format, NarrowingKeepsLowByte) {
  std::wstring wide = L"caf\x00E9 \x20AC\x0100z";  // U+0100 narrows to a NUL, which stays
  const std::string narrow("caf\xE9 \xAC\0z", 8);
  EXPECT_EQ(narrow, GeneralUtils::wstringToString(wide));
  EXPECT_EQ(narrow, GeneralUtils::wcharToString(&wide[0]));
  EXPECT_EQ("", GeneralUtils::wcharToString(nullptr));
}

TEST(Format, HeaderWorksFromCxx11) { EXPECT_EQ("nulled", cxx11Check()); }

// noinline: inlined into a caller, the pairing of malloc with free draws a false warning.
__attribute__((noinline)) void* operator new(size_t n) {
  for (size_t seen = largestAllocation;
       n > seen && !largestAllocation.compare_exchange_weak(seen, n);) {
  }
  if (void* p = std::malloc(n == 0 ? 1 : n)) return p;
  throw std::bad_alloc();
}
__attribute__((noinline)) void operator delete(void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, size_t) noexcept { std::free(p); }
