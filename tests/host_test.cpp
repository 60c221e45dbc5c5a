// Host facts and the machine fingerprint, on real interfaces and node names: the checks run in
// child processes with network and UTS namespaces of their own, set up with ip(8).
#include <gmock/gmock.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <thread>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;
using std::string;

static unsigned short hashOf(string text) {
  return getStrHash(reinterpret_cast<unsigned char*>(&text[0]),
                    static_cast<unsigned short>(text.size()));
}

TEST(Host, FingerprintFromParts) {
  const struct {
    FingerprintParts parts;
    string text, fingerprint;
  } kCases[] = {
      // The CRC of the first is 1381262517, of the second 3470413, which stands whole, and of
      // the third 4101144446, above 2^31. A NUL in the name stays; the hashes are upper case.
      {{0x00AB, "build01", 0x1F2E, 0x1260}, "00ABbuild011F2E1260", "138126251"},
      {{0, "n29", 0xFFFF, 0x32A7}, "0000n29FFFF32A7", "3470413"},
      {{0, "n0", 0xFFFF, 0x306E}, "0000n0FFFF306E", "410114444"},
      {{0x1234, string("a\0b", 3), 0xBEEF, 0x00C3}, string("1234a\0bBEEF00C3", 15), "201399388"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.fingerprint);
    EXPECT_EQ(c.text, fingerprintText(c.parts));
    EXPECT_EQ(c.fingerprint, fingerprintOfParts(c.parts));
  }
}

TEST(Host, FactsMatchUnameAndCpuid) {
  struct utsname u;
  ASSERT_EQ(0, ::uname(&u));
  EXPECT_EQ(string("System: ") + u.sysname + ", Release: " + u.release + ", Version: " + u.version,
            GetOS_Name());
  // getMachineDetails gives the node name too, never the machine type, from a record of its own.
  EXPECT_STREQ(u.nodename, getHostName());
  EXPECT_STREQ(u.nodename, getMachineDetails());
  EXPECT_NE(getHostName(), getMachineDetails());
  const FingerprintParts parts = getSystemFingerprintParts();
  EXPECT_EQ(u.nodename, parts.nodeName);
  EXPECT_EQ(getMacHash(), parts.macHash);
  EXPECT_EQ(hashOf(u.nodename), parts.machineDetailsHash);
  EXPECT_EQ(parts.machineDetailsHash, getMachineDetailsHash());
  // The cached fingerprint is this machine's, at one address for the process.
  EXPECT_EQ(fingerprintOfParts(parts), GetSystemFingerprint());
  EXPECT_EQ(GetSystemFingerprint(), GetSystemFingerprintCStr());
  EXPECT_EQ(GetSystemFingerprintCStr(), GetSystemFingerprintCStr());
  unsigned short cpuHash = 0;  // without cpuid the four registers count as 0, and their hash
#if defined(__x86_64__) || defined(__i386__)
  if (!gutest::cpuHashFromKernel(cpuHash))
    GTEST_SKIP() << "/proc/cpuinfo has no vendor_id, cpuid level";
#endif
  EXPECT_EQ(cpuHash, parts.cpuHash);
}

TEST(Host, MacHashAndNodeNameInNamespaces) {
  unsigned short cpuHash = 0;
  if (!gutest::cpuHashFromKernel(cpuHash))
    GTEST_SKIP() << "/proc/cpuinfo has no vendor_id, cpuid level";
  // Each address's hash by hand: even bytes plain, odd ones shifted left by 8, cut to 16 bits.
  // 02:11:22:33:44:55: 0x68 + 0x99 << 8 = 0x9968; 02:01:02:03:04:05: 0x0908; 02:ff:ff:ff:ff:ff:
  // 0x200 + 0x2FD << 8, cut: 0xFF00; loopback's zeros hash to 0. build01 hashes to 0x1260, and
  // "\xE9\x62" to 0x62E9: a byte of 0x80 or more counts unsigned.
  const struct {
    bool loopbackUp;
    std::vector<std::pair<string, string>> veths;  // name, address
    string node;
    unsigned short macHash, nodeHash;
  } kCases[] = {
      {false, {}, "build01", 0, 0x1260},  // nothing listed
      {false, {{"a0", "02:11:22:33:44:55"}}, "\xE9\x62", 0x9968, 0x62E9},
      // Loopback takes one of the two places.
      {true, {{"a0", "02:11:22:33:44:55"}, {"c0", "02:01:02:03:04:05"}}, "build01", 0x9968, 0x1260},
      // 0x9968 + 0xFF00 wraps to 0x9868, and the third never counts.
      {false,
       {{"a0", "02:11:22:33:44:55"}, {"e0", "02:ff:ff:ff:ff:ff"}, {"c0", "02:01:02:03:04:05"}},
       "build01",
       0x9868,
       0x1260},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.node + " " + std::to_string(c.veths.size()));
    std::vector<std::vector<string>> setup;
    if (c.loopbackUp) setup.push_back({"ip", "link", "set", "lo", "up"});
    for (const auto& [name, address] : c.veths) {
      for (auto& command : gutest::vethCommands(name, address)) setup.push_back(command);
    }
    const gutest::RunResult r = gutest::runInNamespaces(setup, [&c] {
      if (::sethostname(c.node.data(), c.node.size()) != 0) return 1;
      std::printf("%04X %s %04X ", getMacHash(), getHostName(), getMachineDetailsHash());
      std::printf("%s %s", fingerprintText(getSystemFingerprintParts()).c_str(),
                  GetSystemFingerprint().c_str());
      return 0;
    });
    if (r.status == gutest::kNoNamespaces) GTEST_SKIP() << r.err;
    const FingerprintParts parts = {c.macHash, c.node, cpuHash, c.nodeHash};
    EXPECT_EQ(sprintfString("%04X %s %04X ", c.macHash, c.node.c_str(), c.nodeHash) +
                  fingerprintText(parts) + " " + fingerprintOfParts(parts),
              r.out);
  }
}

// Node names that show a tear: "r<k>-" and k % 40 'x's.
static string raceName(unsigned k) { return "r" + std::to_string(k) + "-" + string(k % 40, 'x'); }
static bool isRaceName(const string& name) {
  return name == raceName(static_cast<unsigned>(std::strtoul(name.c_str() + 1, nullptr, 10)));
}

// Three threads ask while the host takes kRenames new names, so new records are published all
// through the race; every answer must be one whole name, a text once returned must never
// change, and once the renames stop every function answers with the last name.
TEST(Host, RecordsStayWholeWhileNewNamesArePublished) {
  const gutest::RunResult r = gutest::runInNamespaces({}, [] {
    const auto rename = [](unsigned k) {
      const string name = raceName(k);
      return ::sethostname(name.data(), name.size()) == 0;
    };
    if (!rename(0)) return 1;
    const char* const firstRecord = getHostName();
    std::atomic<int> started(0), torn(0);
    std::atomic<bool> stop(false);
    std::vector<std::thread> askers;
    for (int t = 0; t < 3; ++t) {
      askers.emplace_back([&] {
        const char* first = getHostName();
        const string firstText = first;
        ++started;
        while (!stop) {
          const FingerprintParts parts = getSystemFingerprintParts();
          torn += !isRaceName(getHostName()) + !isRaceName(getMachineDetails()) +
                  !isRaceName(parts.nodeName) +
                  (hashOf(parts.nodeName) != parts.machineDetailsHash);
        }
        torn += firstText != first;
      });
    }
    while (started < 3) std::this_thread::yield();
    constexpr unsigned kRenames = 3000;
    for (unsigned k = 1; k <= kRenames; ++k) rename(k);
    stop = true;
    for (std::thread& t : askers) t.join();
    const string last = raceName(kRenames);
    torn += getHostName() != last || getMachineDetails() != last ||
            getSystemFingerprintParts().nodeName != last;
    torn += !rename(0) || getHostName() != firstRecord;  // a name seen before keeps its record
    std::printf("torn=%d", torn.load());
    return 0;
  });
  if (r.status == gutest::kNoNamespaces) GTEST_SKIP() << r.err;
  EXPECT_EQ("torn=0", r.out) << r.err;
}

// Threads that ask at the same moment for a name that has no record yet all get the one
// record it then has. Each run is a new race, for a new name.
TEST(Host, SimultaneousFirstCallsShareOneRecord) {
  for (int run = 0; run < 8; ++run) {
    const gutest::RunResult r = gutest::runInNamespaces({}, [run] {
      const string name = "first-" + std::to_string(run);
      if (::sethostname(name.data(), name.size()) != 0) return 1;
      std::atomic<bool> go(false);
      std::vector<const char*> got(16);
      std::vector<std::thread> askers;
      for (const char*& answer : got) {
        askers.emplace_back([&go, &answer] {
          while (!go) {
          }
          answer = getHostName();
        });
      }
      go = true;
      for (std::thread& t : askers) t.join();
      std::printf("%zu", std::set<const char*>(got.begin(), got.end()).size());
      return 0;
    });
    if (r.status == gutest::kNoNamespaces) GTEST_SKIP() << r.err;
    EXPECT_EQ("1", r.out) << "run " << run;
  }
}
