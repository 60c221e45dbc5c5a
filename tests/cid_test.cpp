// The executable's directory and the CID file, as seen by a copy of exe_probe in a temp dir.
#include <tuple>

#include "test_support.h"

using Cid = gutest::TempDirTest;

TEST_F(Cid, FirstLineOfTheDidFile) {
  ASSERT_EQ(0, gutest::runShell("cd " + dir_ + " && cp " GU_PROBES "/exe_probe" +
                                " app && mkdir inst && echo inst >inst/.did")
                   .status);
  const std::tuple<bool, std::string, std::string, std::string> kCases[] = {
      // a .did beside the program (false: none, first row only), its text, install dir, CID
      {false, "", "", ""},
      {true, "first\nsecond\n", "", "first"},
      {true, "first\r\nsecond", "", "first\r"},  // CRLF
      {true, "whole", "", "whole"},              // no line feed
      {true, "", "", ""},
      {true, std::string(5000, 'c') + "\nnext", "", std::string(5000, 'c')},  // past one read
      {true, "beside", "inst", "inst"},
      {true, "beside", "inst/", "inst"},
  };
  for (const auto& [file, did, installDir, cid] : kCases) {
    SCOPED_TRACE(did.substr(0, 20) + " | " + installDir);
    if (file) gutest::writeFile(path(".did"), did);
    const auto r = gutest::run({path("app"), installDir.empty() ? "" : path(installDir)});
    // GetExeDir, getCidFilePath and GetCidFromFile, each framed, since a CID may hold a '\r'.
    EXPECT_EQ("[" + dir_ + "]\n[" + dir_ + "/.did]\n[" + cid + "]\n", r.out) << r.err;
  }
}

TEST_F(Cid, ExecutableInTheRootDirectory) {
  // A root of our own in a mount namespace: every entry of the real one bound into a tmpfs,
  // and a copy of the probe beside them, directly in "/".
  const std::string setup =
      "cd " + dir_ +
      "; mkdir -p r; mount -t tmpfs none r; for d in /*; do if [ -L $d ]; then "
      "cp -P $d r/; elif [ -d $d ]; then mkdir r$d; mount --rbind $d r$d; fi; done; cp " +
      GU_PROBES "/exe_probe r/app; echo rootcid >r/.did";
  if (gutest::runShell("unshare -Urm sh -ec '" + setup + "'").status != 0) {
    GTEST_SKIP() << "unshare -Urm: no mount namespace to build a root in";
  }
  const auto r = gutest::runShell("unshare -Urm sh -ec '" + setup + "; exec chroot r /app'");
  EXPECT_EQ("[]\n[/.did]\n[rootcid]\n", r.out) << r.err;
}
