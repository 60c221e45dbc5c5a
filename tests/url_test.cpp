// Percent-encoding: fixed cases, every byte against a rule of our own, and generated text
// against an independent encoder.
#include <gtest/gtest.h>

#include <clocale>
#include <random>
#include <string>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::EncodeURL;
using std::string;

constexpr char kHex[] = "0123456789ABCDEF";

TEST(Url, Examples) {
  struct UrlCase {
    string value, expected;
  };
  const UrlCase kCases[] = {
      // value             expected
      {"", ""},
      {"abc", "abc"},
      {"a b/c?d=e&f", "a%20b%2Fc%3Fd%3De%26f"},
      {"\n", "%0A"},
      {"\xE9", "%E9"},
      {"-_.~", "-_.~"},
      {"100%", "100%25"},
      {string("a\0b", 3), "a%00b"},
  };
  std::setlocale(LC_ALL, "C");
  for (const UrlCase& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.value));
    EXPECT_EQ(c.expected, EncodeURL(c.value));
  }
}

TEST(Url, EverySingleByteInTheCLocale) {
  std::setlocale(LC_ALL, "C");
  for (int b = 0; b < 256; ++b) {
    SCOPED_TRACE(b);
    const char c = static_cast<char>(b);
    // In the C locale the letters and digits are exactly the ASCII ones.
    const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                       string("-_.~").find(c) != string::npos;
    const string escaped{'%', kHex[b >> 4], kHex[b & 15]};
    EXPECT_EQ(plain ? string(1, c) : escaped, EncodeURL(string(1, c)));
  }
}

TEST(Url, AgreesWithPythonQuote) {
  std::setlocale(LC_ALL, "C");
  std::mt19937 rng(1234);
  string input, expected;  // one value a line: hex-encoded in, percent-encoded out
  for (int i = 0; i < 500; ++i) {
    string value(rng() % 25, ' ');
    // Half the bytes anywhere, half printable ASCII, where the plain characters live.
    for (char& c : value) c = static_cast<char>(rng() % 2 ? rng() % 256 : 0x20 + rng() % 95);
    for (const char c : value) input += {kHex[(c >> 4) & 15], kHex[c & 15]};
    input += '\n';
    expected += EncodeURL(value) + '\n';
  }
  const gutest::RunResult r =
      gutest::run({"python3", "-c",
                   "import sys, urllib.parse as u\n"
                   "for l in sys.stdin: print(u.quote(bytes.fromhex(l), safe='-_.~'))"},
                  input);
  if (r.status == 127 && r.out.empty()) GTEST_SKIP() << "python3 is not installed";
  ASSERT_EQ(0, r.status) << r.err;
  EXPECT_EQ(expected, r.out);
}
