// Percent-encoding: every byte against a rule of our own, and a text of several bytes.
// Programs start in the C locale and nothing here changes it, so the letters and digits are
// exactly the ASCII ones.
#include <gtest/gtest.h>

#include "GeneralUtils.h"

using GeneralUtils::EncodeURL;
using std::string;

TEST(Url, EveryByteAndATextOfSeveral) {
  const string plain = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.~";
  const char hex[] = "0123456789ABCDEF";
  for (int b = 0; b < 256; ++b) {
    const string c(1, static_cast<char>(b)), escaped{'%', hex[b >> 4], hex[b & 15]};
    EXPECT_EQ(plain.find(c) == string::npos ? escaped : c, EncodeURL(c)) << b;
  }
  EXPECT_EQ("a%20b%2F-_.~%0A%E9", EncodeURL("a b/-_.~\n\xE9"));
  EXPECT_EQ("", EncodeURL(""));
}
