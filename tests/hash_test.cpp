// Hashes: getStrHash over both element types, crc32c and Create8CharacterHash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
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

// The paths crc32c has on this processor by the flags the kernel reports for it, as
// crc32cPaths() lists them: each needs its instructions and those of the paths below it.
static std::vector<std::string> pathsTheKernelReports() {
  std::ifstream cpuinfo("/proc/cpuinfo");
  std::string line, flag;
  while (std::getline(cpuinfo, line) && line.rfind("flags", 0) != 0 &&
         line.rfind("Features", 0) != 0) {
  }
  std::set<std::string> flags;
  for (std::istringstream words(line.substr(line.find(':') + 1)); words >> flag;)
    flags.insert(flag);
  std::vector<std::string> paths;
  const std::pair<const char*, std::vector<std::string>> kNeeds[] = {
      {"avx512-vpclmulqdq", {"avx512f", "vpclmulqdq", "avx2", "pclmulqdq", "sse4_2"}},
      {"avx2-vpclmulqdq", {"vpclmulqdq", "avx2", "pclmulqdq", "sse4_2"}},
      {"sse4.2-pclmulqdq", {"pclmulqdq", "sse4_2"}},
      {"sse4.2-crc32", {"sse4_2"}},
      {"armv8-pmull", {"pmull", "crc32"}},
      {"armv8-crc32", {"crc32"}},
      {"bitwise", {}}};
  for (const auto& [path, needs] : kNeeds) {
    const auto has = [&flags](const std::string& f) { return flags.count(f) == 1; };
    if (std::all_of(needs.begin(), needs.end(), has)) paths.push_back(path);
  }
  return paths;
}

// The bit loop gives the check value and the first iSCSI vector of RFC 3720, section B.4, and
// is then the oracle: every path gives its result from random crcs, for every length to 2100
// and lengths around the long inputs' blocks (8.5, 12 and 14 KiB) up to 1 MiB + 13, at every
// alignment, and from two calls at every split of 700 bytes. The list ends with the bit loop
// and starts with the path crc32c takes; it is the list the kernel's flags give, or, where
// ctest emulates a processor whose flags the kernel doesn't know, starts with the one it names.
TEST(Hash, Crc32cPathsEqualTheBitwiseLoop) {
  const unsigned char kZeros[32] = {};
  EXPECT_EQ(0xE3069283u, crc32cBitwise(0, reinterpret_cast<const unsigned char*>("123456789"), 9));
  EXPECT_EQ(0x8A9136AAu, crc32cBitwise(0, kZeros, 32));
  const std::vector<std::string> paths = crc32cPaths();
  std::string names;
  for (const std::string& path : paths) names += " " + path;
  std::printf("crc32c paths on this processor:%s\n", names.c_str());
#if defined(__x86_64__)
  if (paths.front() != "avx512-vpclmulqdq") std::printf("it lacks AVX-512 with VPCLMULQDQ\n");
#endif
  EXPECT_EQ("bitwise", paths.back());
  if (const char* first = std::getenv("GU_CRC32C_FIRST")) {
    EXPECT_EQ(first, paths.front());
  } else {
    EXPECT_EQ(pathsTheKernelReports(), paths);
  }
  std::mt19937 rng(3720);
  std::vector<unsigned char> data((size_t{1} << 20) + 64);
  for (unsigned char& b : data) b = static_cast<unsigned char>(rng());
  EXPECT_EQ(crc32c(7, &data[1], 5000), crc32cOnPath(paths.front(), 7, &data[1], 5000));
  // Only a whole name of the list names a path.
  for (const std::string& name : {std::string("crc32"), paths.front() + "x", paths.back().substr(1),
                                  paths.front().substr(0, paths.front().size() - 1)}) {
    EXPECT_THAT(
        [&] { crc32cOnPath(name, 0, data.data(), 9); },
        ThrowsMessage<std::invalid_argument>(StrEq("No CRC-32C path of this processor: " + name)));
  }
  const std::set<size_t> kLong = {8703,  8704,  8705,  12287, 12288, 12289,         14335,
                                  14336, 14337, 24583, 28673, 65541, (1 << 20) + 13};
  for (size_t at = 0; at < 8; ++at) {
    const uint32_t crc = rng();
    uint32_t ref = crc;  // the bit loop over len bytes, grown a byte at a time
    for (size_t len = 0; len <= *kLong.rbegin(); ref = crc32cBitwise(ref, &data[at + len++], 1)) {
      if (len > 2100 && kLong.count(len) == 0) continue;
      for (const std::string& path : paths) {
        ASSERT_EQ(ref, crc32cOnPath(path, crc, &data[at], len)) << path << " " << at << " " << len;
      }
    }
  }
  const uint32_t crc = rng(), whole = crc32cBitwise(crc, &data[1], 700);
  for (const std::string& path : paths) {
    for (size_t split = 0; split <= 700; ++split) {
      const uint32_t head = crc32cOnPath(path, crc, &data[1], split);
      ASSERT_EQ(whole, crc32cOnPath(path, head, &data[1 + split], 700 - split)) << path << split;
    }
  }
}

// The examples, then generated texts held against the sum in 64 bits, wrapped to 32, written
// in decimal and brought to 8 characters.
TEST(Hash, EightCharacters) {
  const std::pair<std::string, const char*> kCases[] = {
      {"", "00000000"},
      {"abc", "59000000"},                     // 97 + 2 * 98 + 3 * 99 = 590
      {std::string(10000, 'z'), "18056427"},   // 6100610000 wraps to 1805642704
      {std::string(1000, '\x80'), "-6406400"}  // -128 * 1000 * 1001 / 2 = -64064000
  };
  for (const auto& [text, want] : kCases) EXPECT_EQ(want, Create8CharacterHash(text));
  std::mt19937 rng(8);
  for (int n = 0; n < 300; ++n) {
    std::string text(rng() % 3 == 0 ? rng() % 20000 : rng() % 40, '\0');
    int64_t sum = 0;
    for (size_t i = 0; i < text.size(); ++i) {
      text[i] = static_cast<char>(rng());
      sum += static_cast<signed char>(text[i]) * static_cast<int64_t>(i + 1);
    }
    std::string want = std::to_string(static_cast<int32_t>(static_cast<uint32_t>(sum)));
    want.resize(8, '0');
    ASSERT_EQ(want, Create8CharacterHash(text)) << testing::PrintToString(text.substr(0, 40));
  }
}
