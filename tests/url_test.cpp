// Percent-encoding: every byte against a rule of our own, and texts of several bytes.
// Programs start in the C locale and nothing here changes it, so the letters and digits are
// exactly the ASCII ones.
#include <gtest/gtest.h>

#include <string>

#include "GeneralUtils.h"

using GeneralUtils::EncodeURL;
using std::string;

TEST(Url, ExamplesAndEverySingleByte) {
  struct UrlCase {
    string value, expected;
  };
  const UrlCase kCases[] = {
      // value, expected
      {"", ""},
      {"a b/c?d=e&f", "a%20b%2Fc%3Fd%3De%26f"},
      {"-_.~\n\xE9", "-_.~%0A%E9"},
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
