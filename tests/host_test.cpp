// Host facts and the machine fingerprint, on real interfaces and node names: host_probe runs
// in network and UTS namespaces of its own, set up with unshare(1), ip(8) and hostname(1).
#include <cpuid.h>
#include <gmock/gmock.h>
#include <sys/utsname.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;

namespace {

// host_probe's report after the shell commands in setup, with the node name node. v NAME MAC
// NET adds a veth pair whose near end NAME gets MAC and the pair's only address, so only NAME
// is listed; its peer registers first, which puts NAME behind every earlier interface.
std::string reportIn(const std::string& setup, const std::string& node) {
  const gutest::RunResult r = gutest::runShell(
      "unshare -Urnu sh -ec 'v() { ip link add $1 type veth peer name $1p; ip link set $1 "
      "address $2; ip addr add 10.0.$3.1/24 dev $1; }; hostname " +
      node + "; " + setup + " exec " + gutest::probe("host_probe") + "'");
  EXPECT_EQ(0, r.status) << r.err;
  return r.out;
}

// The CRC, in decimal, of the text the fingerprint hashes, joined here from its parts.
std::string crcOfJoined(unsigned mac, const std::string& node, unsigned cpuHash) {
  std::vector<unsigned char> bytes(node.begin(), node.end());
  char text[128];
  const int n = std::snprintf(text, sizeof(text), "%04X%s%04X%04X", mac, node.c_str(), cpuHash,
                              unsigned{getStrHash<unsigned char>(bytes.data(), bytes.size())});
  return std::to_string(crc32c(0, reinterpret_cast<unsigned char*>(text), static_cast<size_t>(n)));
}

}  // namespace

TEST(Host, FactsMatchUname) {
  struct utsname u;
  ASSERT_EQ(0, ::uname(&u));
  EXPECT_EQ(
      std::string("System: ") + u.sysname + ", Release: " + u.release + ", Version: " + u.version,
      GetOS_Name());
  // uname(1) in a child confirms the record.
  EXPECT_EQ(std::string(u.sysname) + " " + u.nodename + " " + u.release + " " + u.version + "\n",
            gutest::run({"uname", "-snrv"}).out);
  // getMachineDetails gives the node name too, never the machine type.
  EXPECT_STREQ(u.nodename, getHostName());
  EXPECT_STREQ(u.nodename, getMachineDetails());
  const char* host = getHostName();
  EXPECT_NE(host, getMachineDetails());
  EXPECT_EQ(host, getHostName());
  EXPECT_EQ(getMachineDetails(), getMachineDetails());
}

TEST(Host, MacHashAndFingerprintInNamespaces) {
  // "00ABbuild011F2E1260", whose CRC is 0x525464B5: fingerprint 138126251.
  EXPECT_EQ("1381262517", crcOfJoined(0x00AB, "build01", 0x1F2E));
  if (gutest::runShell("unshare -Urnu true").status != 0) {
    GTEST_SKIP() << "unshare -Urnu (network and UTS namespaces) is not permitted here";
  }
  unsigned int regs[4] = {0, 0, 0, 0};
  __cpuid_count(0, 0, regs[0], regs[1], regs[2], regs[3]);
  const unsigned cpuHash = getStrHash<unsigned int>(regs, 4);
  // Each hash by hand: even bytes plain, odd bytes shifted left by 8, cut to 16 bits.
  const std::string a = "v a0 02:11:22:33:44:55 1;";  // 0x68 + 0x99<<8 = 0x9968
  const std::string c = "v c0 02:01:02:03:04:05 2;";  // 0x08 + 0x09<<8 = 0x0908
  const std::string e = "v e0 02:ff:ff:ff:ff:ff 3;";  // 0x200 + 0x2FD<<8, cut: 0xFF00
  const std::string lo = "ip link set lo up;";
  struct MacCase {
    std::string what, setup;
    unsigned mac;
  };
  const MacCase kCases[] = {
      // what, ip set-up, getMacHash
      {"nothing listed", "", 0},
      {"loopback alone", lo, 0},
      {"one veth", a, 0x9968},
      {"loopback takes the first place", lo + a, 0x9968},
      {"loopback and two veths", lo + a + c, 0x9968},
      {"two veths, the sum wraps", e + a, 0x9868},  // 0x9968 + 0xFF00
      {"a third never counts", a + c + e, 0xA270},  // 0x9968 + 0x0908
  };
  for (const MacCase& k : kCases) {
    SCOPED_TRACE(k.what);
    EXPECT_EQ("mac=" + std::to_string(k.mac) + " host=build01 details=" + std::to_string(0x1260) +
                  " fingerprint=" + crcOfJoined(k.mac, "build01", cpuHash).substr(0, 9) + "\n",
              reportIn(k.setup, "build01"));
  }
  // Node names for which this processor gives CRCs of 10, 9 and 8 or fewer digits, the first
  // name for each length: only a 10-digit CRC is cut.
  std::map<size_t, std::string> byDigits;
  for (int i = 0; !byDigits.count(10) || !byDigits.count(9) || byDigits.begin()->first > 8; ++i) {
    const std::string name = "n" + std::to_string(i);
    byDigits.emplace(crcOfJoined(0, name, cpuHash).size(), name);
  }
  for (const auto& [digits, name] : byDigits) {
    const std::string crc = crcOfJoined(0, name, cpuHash);
    EXPECT_THAT(reportIn("", name), testing::EndsWith(" fingerprint=" + crc.substr(0, 9) + "\n"))
        << crc;
  }
}

TEST(Host, FirstCallsFromManyThreadsAgree) {
  const gutest::RunResult r = gutest::run({gutest::probe("host_probe"), "--race"});
  ASSERT_EQ(0, r.status) << r.err;
  const std::string first = r.out.substr(0, r.out.find('\n') + 1);
  std::string all;
  for (int t = 0; t < 8; ++t) all += first;
  EXPECT_EQ(all, r.out);
  EXPECT_THAT(first, testing::MatchesRegex("0x[0-9a-f]+ " + GetSystemFingerprint() +
                                           " 0x[0-9a-f]+ " + getHostName() + "\n"));
}
