// Host facts and the machine fingerprint, on real interfaces and node names: host_probe runs
// in network and UTS namespaces of its own, set up with unshare(1), ip(8) and hostname(1).
#include <cpuid.h>
#include <gmock/gmock.h>
#include <sys/utsname.h>

#include <cstdio>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;

// host_probe's report, or what went wrong, after the shell commands in setup with the node
// name node. v NAME MAC adds a veth pair whose near end NAME gets MAC and the pair's only
// address, so only NAME is listed; its peer registers first, which puts NAME behind every
// earlier interface.
static std::string reportIn(const std::string& setup, const std::string& node) {
  return gutest::runShell(
             "unshare -Urnu sh -ec 'v() { ip link add $1 address $2 type veth peer name $1p; ip "
             "addr add 10.0.0.1/32 dev $1; }; hostname " +
             node + "; " + setup + " exec " GU_PROBES "/host_probe' 2>&1")
      .out;
}

// The CRC, in decimal, of the text the fingerprint hashes, joined here from its parts.
static std::string crcOfJoined(unsigned mac, std::string node, unsigned cpuHash) {
  char text[128];
  const int n = std::snprintf(text, sizeof(text), "%04X%s%04X%04X", mac, node.c_str(), cpuHash,
                              getStrHash(reinterpret_cast<unsigned char*>(&node[0]), node.size()));
  return std::to_string(crc32c(0, reinterpret_cast<unsigned char*>(text), static_cast<size_t>(n)));
}

TEST(Host, FactsMatchUname) {
  struct utsname u;
  ASSERT_EQ(0, ::uname(&u));
  EXPECT_EQ(
      std::string("System: ") + u.sysname + ", Release: " + u.release + ", Version: " + u.version,
      GetOS_Name());
  // getMachineDetails gives the node name too, never the machine type, from a record of its own.
  EXPECT_STREQ(u.nodename, getHostName());
  EXPECT_STREQ(u.nodename, getMachineDetails());
  EXPECT_NE(getHostName(), getMachineDetails());
  // The cached fingerprint is this machine's, at one address for the process.
  EXPECT_EQ(GetSystemFingerprint(), GetSystemFingerprintCStr());
  EXPECT_EQ(GetSystemFingerprintCStr(), GetSystemFingerprintCStr());
}

TEST(Host, MacHashAndFingerprintInNamespaces) {
  // "00ABbuild011F2E1260", whose CRC is 0x525464B5: fingerprint 138126251.
  EXPECT_EQ("1381262517", crcOfJoined(0x00AB, "build01", 0x1F2E));
  if (gutest::runShell("unshare -Urnu ip link add t0 type veth peer name t1").status != 0) {
    GTEST_SKIP() << "unshare -Urnu: no veth pair in network and UTS namespaces of our own";
  }
  unsigned int regs[4] = {0, 0, 0, 0};
  __cpuid_count(0, 0, regs[0], regs[1], regs[2], regs[3]);
  const unsigned cpuHash = getStrHash<unsigned int>(regs, 4);
  // Each MAC's hash by hand: even bytes plain, odd bytes shifted left by 8, cut to 16 bits.
  // a0 02:11:22:33:44:55: 0x68 + 0x99<<8 = 0x9968; c0 02:01:02:03:04:05: 0x08 + 0x09<<8 =
  // 0x0908; e0 02:ff:ff:ff:ff:ff: 0x200 + 0x2FD<<8, cut: 0xFF00; loopback's zeros hash to 0.
  const std::pair<std::string, unsigned> kCases[] = {
      // ip set-up, getMacHash
      {"", 0},                              // nothing listed
      {"v a0 02:11:22:33:44:55;", 0x9968},  // one interface
      // loopback takes one of the two places
      {"ip link set lo up; v a0 02:11:22:33:44:55; v c0 02:01:02:03:04:05;", 0x9968},
      // 0x9968 + 0xFF00 wraps to 0x9868, and the third never counts
      {"v a0 02:11:22:33:44:55; v e0 02:ff:ff:ff:ff:ff; v c0 02:01:02:03:04:05;", 0x9868},
  };
  // A node name byte of 0x80 or more counts as unsigned: 0xE9 + ('b' << 8); at an even
  // index, where it is added unshifted, a signed byte would give 0xFFE9. hostname(1)
  // refuses such a name, the kernel's own file takes it.
  const std::string high = std::string(1, '\xE9') + 'b';
  EXPECT_EQ("mac=0 host=" + high + " details=" + std::to_string(0x62E9) +
                " fingerprint=" + crcOfJoined(0, high, cpuHash).substr(0, 9) + "\n",
            reportIn("printf \"\\\\351b\" >/proc/sys/kernel/hostname;", "x"));
  for (const auto& [setup, mac] : kCases) {
    SCOPED_TRACE(setup);
    EXPECT_EQ("mac=" + std::to_string(mac) + " host=build01 details=" + std::to_string(0x1260) +
                  " fingerprint=" + crcOfJoined(mac, "build01", cpuHash).substr(0, 9) + "\n",
              reportIn(setup, "build01"));
  }
  // Node names 0, 1, ... until this processor gives a CRC of 8 digits or fewer and one of
  // 2^31 or more, nothing listed: only 10 digits are cut, and the CRC is printed unsigned.
  bool shortSeen = false, highSeen = false;
  for (int i = 0; !shortSeen || !highSeen; ++i) {
    const std::string node = std::to_string(i), crc = crcOfJoined(0, node, cpuHash);
    const bool isShort = crc.size() <= 8, isHigh = std::stoul(crc) >= 0x80000000u;
    if ((!isShort || shortSeen) && (!isHigh || highSeen)) continue;
    shortSeen |= isShort, highSeen |= isHigh;
    EXPECT_THAT(reportIn("", node), testing::EndsWith(" fingerprint=" + crc.substr(0, 9) + "\n"));
  }
}

TEST(Host, FailingUnameGivesUnknown) {
  const auto r = gutest::run({GU_PROBES "/host_probe", "--uname-fails"});
  if (r.status == 3) GTEST_SKIP() << "no seccomp filter to make uname() fail";
  EXPECT_EQ("unknown\nunknown\n[]\n", r.out);
  EXPECT_EQ("uname: Operation not permitted\n", r.err);
}

TEST(Host, OneNamePerAnswerWhileTheHostIsRenamed) {
  const auto r = gutest::run({"unshare", "-Uru", GU_PROBES "/host_probe", "--rename-race"});
  if (r.status != 0 && r.out.empty()) GTEST_SKIP() << "unshare -Uru: " << r.err;
  EXPECT_EQ("torn=0 of 3 x 2000 answers\n", r.out) << r.err;
}
