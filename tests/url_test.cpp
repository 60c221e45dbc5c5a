// Percent-encoding: every byte against a rule of our own, then generated texts, which must
// encode as their bytes one by one. Programs start in the C locale and nothing here changes
// it, so the letters and digits are exactly the ASCII ones.
#include <gtest/gtest.h>

#include <random>

#include "GeneralUtils.h"

using GeneralUtils::EncodeURL;
using std::string;

TEST(Url, EveryByteAndGeneratedTexts) {
  const string plain = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.~";
  const char hex[] = "0123456789ABCDEF";
  string byByte[256];
  for (int b = 0; b < 256; ++b) {
    const string c(1, static_cast<char>(b)), escaped{'%', hex[b >> 4], hex[b & 15]};
    byByte[b] = plain.find(c) == string::npos ? escaped : c;
    EXPECT_EQ(byByte[b], EncodeURL(c)) << b;
  }
  // Runs of plain bytes and escapes of every length, in every order.
  std::mt19937 rng(3986);
  for (int n = 0; n < 5000; ++n) {
    string text(rng() % 12, ' '), encoded;
    for (char& c : text)
      c = "a~ %\xE9\n"[rng() % 6], encoded += byByte[static_cast<unsigned char>(c)];
    ASSERT_EQ(encoded, EncodeURL(text)) << testing::PrintToString(text);
  }
}
