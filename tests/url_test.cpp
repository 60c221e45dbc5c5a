// Percent-encoding: fixed cases, every byte against a rule of our own, and generated text
// against an independent encoder. Programs start in the C locale and nothing here changes it,
// so the letters and digits are exactly the ASCII ones.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "GeneralUtils.h"
#include "test_support.h"

using GeneralUtils::EncodeURL;
using std::string;

TEST(Url, ExamplesAndEverySingleByte) {
  struct UrlCase {
    string value, expected;
  };
  const UrlCase kCases[] = {
      // value, expected
      {"", ""},         {"a b/c?d=e&f", "a%20b%2Fc%3Fd%3De%26f"}, {"\n", "%0A"}, {"\xE9", "%E9"},
      {"-_.~", "-_.~"},
  };
  for (const UrlCase& c : kCases)
    EXPECT_EQ(c.expected, EncodeURL(c.value)) << testing::PrintToString(c.value);
  const string plain = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.~";
  const char hex[] = "0123456789ABCDEF";
  for (int b = 0; b < 256; ++b) {
    const string c(1, static_cast<char>(b)), escaped{'%', hex[b >> 4], hex[b & 15]};
    EXPECT_EQ(plain.find(c) == string::npos ? escaped : c, EncodeURL(c)) << b;
  }
}

// Python's own encoder, from standard input to standard output.
const char kPythonQuote[] =
    "import sys, urllib.parse as u\n"
    "print(u.quote(sys.stdin.buffer.read(), safe='-_.~'), end='')";

TEST(Url, AgreesWithPythonQuote) {
  std::mt19937 rng(1234);
  // Half the bytes printable ASCII, where the plain characters live, half anything.
  string input(6000, ' ');
  for (char& c : input) c = static_cast<char>(rng() % 2 ? 0x20 + rng() % 95 : rng() % 256);
  const gutest::RunResult r = gutest::run({"python3", "-c", kPythonQuote}, input);
  if (r.status == 127 && r.out.empty()) GTEST_SKIP() << "python3 is not installed";
  ASSERT_EQ(0, r.status) << r.err;
  EXPECT_EQ(EncodeURL(input), r.out);
}
