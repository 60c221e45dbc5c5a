// Hashes: getStrHash over both element types, crc32c and Create8CharacterHash.
#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

#include "GeneralUtils.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytes(const std::string& s) { return Bytes(s.begin(), s.end()); }

template <typename T>
unsigned short strHash(std::vector<T> v) {
  return GeneralUtils::getStrHash<T>(v.data(), static_cast<unsigned short>(v.size()));
}

TEST(Hash, StrHash) {
  // clang-format off
  const struct { Bytes in; unsigned short want; } kBytes[] = {
      // in                  want
      {{},                   0},
      {bytes("abc"),         0x62C4},
      {Bytes(300, 0xFF),     0xFF6A},  // each pair adds 0xFFFF: 150 pairs wrap to 0x10000 - 150
  };
  const struct { std::vector<unsigned int> in; unsigned short want; } kWords[] = {
      // in                  want
      {{1, 2, 3, 4},         0x0604},
      {{0x12345678},         0x5678},
      {{0, 0x00FF00FF},      0xFF00},  // the odd element is 0xFF00FF00 once shifted
      {{0xFFFF, 0xFF, 1},    0xFF00},
  };
  // clang-format on
  for (const auto& c : kBytes) EXPECT_EQ(c.want, strHash(c.in)) << c.in.size() << " bytes";
  for (const auto& c : kWords) EXPECT_EQ(c.want, strHash(c.in)) << "first word " << c.in[0];
  EXPECT_EQ(0, GeneralUtils::getStrHash<unsigned char>(nullptr, 0));
}

TEST(Hash, Crc32cVectorsAndChaining) {
  Bytes up(32);
  std::iota(up.begin(), up.end(), 0);
  // clang-format off
  const struct { const char* what; Bytes in; uint32_t want; } kCases[] = {
      // what          in                                want
      {"empty",        {},                               0},
      {"check value",  bytes("123456789"),               0xE3069283},
      // The iSCSI vectors of RFC 3720, section B.4.
      {"32 zeros",     Bytes(32, 0x00),                  0x8A9136AA},
      {"32 ones",      Bytes(32, 0xFF),                  0x62A8AB43},
      {"0 to 31",      up,                               0x46DD794E},
      {"31 to 0",      Bytes(up.rbegin(), up.rend()),    0x113FDB5C},
  };
  // clang-format on
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    const unsigned char* p = c.in.data();
    EXPECT_EQ(c.want, GeneralUtils::crc32c(0, p, c.in.size()));
    for (size_t split = 0; split <= c.in.size(); ++split) {
      const uint32_t head = GeneralUtils::crc32c(0, p, split);
      EXPECT_EQ(c.want, GeneralUtils::crc32c(head, p + split, c.in.size() - split)) << split;
    }
  }
  EXPECT_EQ(0xE3069283u, GeneralUtils::crc32c(0xE3069283u, nullptr, 0));
}

TEST(Hash, EightCharacters) {
  // clang-format off
  const struct { std::string text; const char* want; } kCases[] = {
      // text                          want
      {"",                             "00000000"},
      {"a",                            "97000000"},
      {"abc",                          "59000000"},  // 97 + 2 * 98 + 3 * 99 = 590
      {"\xFF",                         "-1000000"},  // bytes from 0x80 up count as negative
      {std::string(2000, 'z'),         "24412200"},  // 122 * 2000 * 2001 / 2 = 244122000
      {std::string(10000, 'z'),        "18056427"},  // 6100610000 wraps to 1805642704
      {std::string(1000, '\x80'),      "-6406400"},  // -128 * 1000 * 1001 / 2 = -64064000
  };
  // clang-format on
  for (const auto& c : kCases) {
    EXPECT_EQ(c.want, GeneralUtils::Create8CharacterHash(c.text)) << c.text.size() << " bytes";
  }
}

}  // namespace
