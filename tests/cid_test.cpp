// The executable's directory and the CID file, as seen by a copy of host_probe in a temp dir.
#include <string>

#include "test_support.h"

using Cid = gutest::TempDirTest;

TEST_F(Cid, FirstLineOfTheDidFile) {
  ASSERT_EQ(0, gutest::runShell("cd " + dir_ + " && cp " + gutest::probe("host_probe") +
                                " app && mkdir inst && echo inst >inst/.did")
                   .status);
  struct CidCase {
    const char *what, *did, *installDir, *cid;
  };
  const CidCase kCases[] = {
      // what, .did beside the program (nullptr: none, first row only), install dir, CID
      {"no file", nullptr, "", ""},
      {"two lines", "first\nsecond\n", "", "first"},
      {"CRLF", "first\r\nsecond", "", "first\r"},
      {"no line feed", "whole", "", "whole"},
      {"empty", "", "", ""},
      {"install dir", "beside", "inst", "inst"},
      {"install dir with '/'", "beside", "inst/", "inst"},
  };
  for (const CidCase& c : kCases) {
    SCOPED_TRACE(c.what);
    if (c.did != nullptr) gutest::writeFile(path(".did"), c.did);
    const gutest::RunResult r =
        gutest::run({path("app"), "--exe", *c.installDir ? path(c.installDir) : ""});
    // GetExeDir, getCidFilePath and GetCidFromFile, each framed, since a CID may hold a '\r'.
    EXPECT_EQ("[" + dir_ + "]\n[" + dir_ + "/.did]\n[" + c.cid + "]\n", r.out) << r.err;
  }
}
