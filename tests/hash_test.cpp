// Hashes: getStrHash over both element types, crc32c and Create8CharacterHash.
#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "GeneralUtils.h"

namespace {

using GeneralUtils::getStrHash;

TEST(Hash, StrHash) {
  unsigned char abc[] = {'a', 'b', 'c'};
  unsigned int words[] = {1, 2, 3, 4, 0x12345678};
  EXPECT_EQ(0, getStrHash(abc, 0));
  EXPECT_EQ(0x62C4, getStrHash(abc, 3));
  EXPECT_EQ(0x0604, getStrHash(words, 4));
  EXPECT_EQ(0x5678, getStrHash(words + 4, 1));  // the high bits fall away
}

TEST(Hash, Crc32cVectors) {
  std::string up(32, '\0');
  std::iota(up.begin(), up.end(), '\0');
  // clang-format off
  const struct { const char* what; std::string in; uint32_t want; } kCases[] = {
      // what          in                                    want
      {"check value",  "123456789",                          0xE3069283},
      // The iSCSI vectors of RFC 3720, section B.4.
      {"32 zeros",     std::string(32, '\x00'),              0x8A9136AA},
      {"32 ones",      std::string(32, '\xFF'),              0x62A8AB43},
      {"0 to 31",      up,                                   0x46DD794E},
      {"31 to 0",      std::string(up.rbegin(), up.rend()), 0x113FDB5C},
  };
  // clang-format on
  // Both paths, and the check value also in two calls that hand the result on.
  for (const auto& c : kCases) {
    const auto* p = reinterpret_cast<const unsigned char*>(c.in.data());
    EXPECT_EQ(c.want, GeneralUtils::crc32cBitwise(0, p, c.in.size())) << c.what;
    EXPECT_EQ(c.want, GeneralUtils::crc32c(GeneralUtils::crc32c(0, p, 4), p + 4, c.in.size() - 4));
  }
}

// Whichever path crc32c takes on this processor, its result is the bit-by-bit loop's.
TEST(Hash, Crc32cEqualsTheBitwiseLoop) {
  std::mt19937 rng(3720);
  std::vector<unsigned char> data(64 * 1024 + 64);
  for (unsigned char& b : data) b = static_cast<unsigned char>(rng());
  const auto same = [&](uint32_t crc, size_t at, size_t len) {
    return GeneralUtils::crc32c(crc, &data[at], len) ==
           GeneralUtils::crc32cBitwise(crc, &data[at], len);
  };
  // Every length up to 1100 at every alignment, from a random starting crc.
  int wrong = 0;
  for (size_t len = 0; len <= 1100; ++len) {
    for (size_t align = 0; align < 8; ++align) wrong += !same(rng(), align, len);
  }
  EXPECT_EQ(0, wrong);
  // Every split point of 4 KiB chains to the one-call value.
  const uint32_t whole = GeneralUtils::crc32cBitwise(0, data.data(), 4096);
  for (size_t split = 0; split <= 4096; ++split) {
    const uint32_t head = GeneralUtils::crc32c(0, data.data(), split);
    wrong += GeneralUtils::crc32c(head, &data[split], 4096 - split) != whole;
  }
  EXPECT_EQ(0, wrong);
  // Long inputs run in lanes of 4 KiB, three at a time: lengths around whole rounds of
  // three lanes, and past several of them.
  for (size_t len : {12287, 12288, 12289, 12288 + 4095, 24576 + 7, 65536}) {
    for (size_t align : {0, 3}) EXPECT_TRUE(same(rng(), align, len)) << len << '+' << align;
  }
}

TEST(Hash, EightCharacters) {
  // clang-format off
  const struct { std::string text; const char* want; } kCases[] = {
      // text                          want
      {"abc",                          "59000000"},  // 97 + 2 * 98 + 3 * 99 = 590
      {std::string(2000, 'z'),         "24412200"},  // 122 * 2000 * 2001 / 2 = 244122000
      {std::string(10000, 'z'),        "18056427"},  // 6100610000 wraps to 1805642704
      {std::string(1000, '\x80'),      "-6406400"},  // -128 * 1000 * 1001 / 2 = -64064000
  };
  // clang-format on
  for (const auto& c : kCases) EXPECT_EQ(c.want, GeneralUtils::Create8CharacterHash(c.text));
}

}  // namespace
