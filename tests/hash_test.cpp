// Hashes: getStrHash over both element types, crc32c and Create8CharacterHash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>

#include "GeneralUtils.h"

using namespace GeneralUtils;
using testing::StrEq;
using testing::ThrowsMessage;

TEST(Hash, StrHash) {
  unsigned char abc[] = {'a', 'b', 'c'};
  unsigned int words[] = {1, 2, 3, 4, 0x12345678};
  EXPECT_EQ(0x62C4, getStrHash(abc, 3));
  EXPECT_EQ(0x0604, getStrHash(words, 4));
  EXPECT_EQ(0x5678, getStrHash(words + 4, 1));  // the high bits fall away
}

TEST(Hash, Crc32cVectors) {
  // The check value, and the first iSCSI vector of RFC 3720, section B.4, on the bit loop.
  const std::pair<std::string, uint32_t> kCases[] = {{"123456789", 0xE3069283},
                                                     {std::string(32, '\0'), 0x8A9136AA}};
  for (const auto& [in, want] : kCases) {
    EXPECT_EQ(want, crc32cBitwise(0, reinterpret_cast<const unsigned char*>(in.data()), in.size()));
  }
}

// The path crc32c must take first: the one ctest names for an emulated processor, else the
// compiler's own reading of this one ("" where there is none to compare with).
std::string expectedFirstPath() {
  if (const char* named = std::getenv("GU_CRC32C_FIRST")) return named;
#if defined(__x86_64__)
  const bool vpclmul = __builtin_cpu_supports("vpclmulqdq");
  if (vpclmul && __builtin_cpu_supports("avx512f")) return "avx512-vpclmulqdq";
  if (vpclmul && __builtin_cpu_supports("avx2")) return "avx2-vpclmulqdq";
  if (!__builtin_cpu_supports("sse4.2")) return "bitwise";
  return __builtin_cpu_supports("pclmul") ? "sse4.2-pclmulqdq" : "sse4.2-crc32";
#else
  return "";
#endif
}

TEST(Hash, Crc32cPathList) {
  const std::vector<std::string> paths = crc32cPaths();
  std::string names;
  for (const std::string& path : paths) names += " " + path;
  std::printf("crc32c paths on this processor:%s\n", names.c_str());
#if defined(__x86_64__)
  const char* const kFast[] = {"avx512-vpclmulqdq", "avx2-vpclmulqdq", "sse4.2-pclmulqdq",
                               "sse4.2-crc32"};
#else
  const char* const kFast[] = {"armv8-pmull", "armv8-crc32"};
#endif
  for (const char* path : kFast) {
    if (std::find(paths.begin(), paths.end(), path) == paths.end()) {
      std::printf("this processor lacks the %s path, so it is not tested here\n", path);
    }
  }
  ASSERT_FALSE(paths.empty());
  EXPECT_EQ("bitwise", paths.back());
  const std::string expected = expectedFirstPath();
  if (!expected.empty()) {
    EXPECT_EQ(expected, paths.front());
  }
  const auto* p = reinterpret_cast<const unsigned char*>("123456789");
  EXPECT_EQ(crc32c(0, p, 9), crc32cOnPath(paths.front(), 0, p, 9));
  EXPECT_THAT(
      [p] { crc32cOnPath("crc32", 0, p, 9); },
      ThrowsMessage<std::invalid_argument>(StrEq("No CRC-32C path of this processor: crc32")));
}

// Every path this processor runs gives the bit loop's result, from random starting crcs: every
// length up to 2100 at every alignment (the reference grows a byte at a time), lengths around
// the blocks of the long inputs (8.5 KiB with 16-byte folding, 12 KiB of three chains, 14 KiB
// with 32-byte folding), 1 MiB + 13 misaligned, and two calls that hand the result on at
// every split of 700 bytes. Folding goes 128 and 256 bytes a round.
TEST(Hash, Crc32cPathsEqualTheBitwiseLoop) {
  std::mt19937 rng(3720);
  std::vector<unsigned char> data((size_t{1} << 20) + 64);
  for (unsigned char& b : data) b = static_cast<unsigned char>(rng());
  for (const std::string& path : crc32cPaths()) {
    int wrong = 0;
    std::string first;  // the first disagreement, to reproduce it
    auto check = [&](uint32_t got, uint32_t want, size_t at, size_t len, uint32_t crc) {
      if (got != want && wrong++ == 0)
        first = sprintfString("at %zu len %zu crc %08x", at, len, crc);
    };
    for (size_t at = 0; at < 8; ++at) {
      const uint32_t crc = rng();
      uint32_t want = crc;
      for (size_t len = 0; len <= 2100; want = crc32cBitwise(want, &data[at + len++], 1)) {
        check(crc32cOnPath(path, crc, &data[at], len), want, at, len, crc);
      }
    }
    for (size_t len : {8703, 8704, 8705, 12287, 12288, 12289, 14335, 14336, 14337, 24583, 28673,
                       65541, (1 << 20) + 13}) {
      const uint32_t crc = rng();
      check(crc32cOnPath(path, crc, &data[3], len), crc32cBitwise(crc, &data[3], len), 3, len, crc);
    }
    const uint32_t crc = rng(), whole = crc32cBitwise(crc, &data[1], 700);
    for (size_t split = 0; split <= 700; ++split) {
      const uint32_t head = crc32cOnPath(path, crc, &data[1], split);
      check(crc32cOnPath(path, head, &data[1 + split], 700 - split), whole, 1, split, crc);
    }
    EXPECT_EQ(0, wrong) << path << ", first " << first;
  }
}

TEST(Hash, EightCharacters) {
  const std::pair<std::string, const char*> kCases[] = {
      {"abc", "59000000"},                     // 97 + 2 * 98 + 3 * 99 = 590
      {std::string(10000, 'z'), "18056427"},   // 6100610000 wraps to 1805642704
      {std::string(1000, '\x80'), "-6406400"}  // -128 * 1000 * 1001 / 2 = -64064000
  };
  for (const auto& [text, want] : kCases) EXPECT_EQ(want, Create8CharacterHash(text));
}
