// Hashes: getStrHash over both element types, crc32c and Create8CharacterHash.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "GeneralUtils.h"

using namespace GeneralUtils;

TEST(Hash, StrHash) {
  unsigned char abc[] = {'a', 'b', 'c'};
  unsigned int words[] = {1, 2, 3, 4, 0x12345678};
  EXPECT_EQ(0x62C4, getStrHash(abc, 3));
  EXPECT_EQ(0x0604, getStrHash(words, 4));
  EXPECT_EQ(0x5678, getStrHash(words + 4, 1));  // the high bits fall away
}

TEST(Hash, Crc32cVectors) {
  // The check value, and the first iSCSI vector of RFC 3720, section B.4; both paths, and
  // two calls that hand the result on.
  const std::pair<std::string, uint32_t> kCases[] = {{"123456789", 0xE3069283},
                                                     {std::string(32, '\0'), 0x8A9136AA}};
  for (const auto& [in, want] : kCases) {
    const auto* p = reinterpret_cast<const unsigned char*>(in.data());
    EXPECT_EQ(want, crc32cBitwise(0, p, in.size())) << in;
    EXPECT_EQ(want, crc32c(crc32c(0, p, 4), p + 4, in.size() - 4)) << in;
  }
}

// Whichever path crc32c takes on this processor, its result is the bit-by-bit loop's, from
// any starting crc: every length up to 1100 at every alignment, then lengths around whole
// rounds of the three 4 KiB lanes that long inputs run in, and past several of them.
TEST(Hash, Crc32cEqualsTheBitwiseLoop) {
  std::mt19937 rng(3720);
  std::vector<unsigned char> data(64 * 1024 + 64);
  for (unsigned char& b : data) b = static_cast<unsigned char>(rng());
  std::vector<size_t> lengths = {12287, 12288, 12289, 12288 + 4095, 24576 + 7, 65536};
  for (size_t len = 0; len <= 1100; ++len) lengths.push_back(len);
  int wrong = 0;
  for (size_t len : lengths)
    for (uint32_t at = 0, crc = rng(); at < 8; ++at, crc = rng())
      wrong += crc32c(crc, &data[at], len) != crc32cBitwise(crc, &data[at], len);
  EXPECT_EQ(0, wrong);
}

TEST(Hash, EightCharacters) {
  const std::pair<std::string, const char*> kCases[] = {
      {"abc", "59000000"},                     // 97 + 2 * 98 + 3 * 99 = 590
      {std::string(10000, 'z'), "18056427"},   // 6100610000 wraps to 1805642704
      {std::string(1000, '\x80'), "-6406400"}  // -128 * 1000 * 1001 / 2 = -64064000
  };
  for (const auto& [text, want] : kCases) EXPECT_EQ(want, Create8CharacterHash(text));
}
