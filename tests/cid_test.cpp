// The executable's directory and the CID file, as seen by a copy of host_probe in a temp dir.
#include <filesystem>
#include <string>
#include <vector>

#include "test_support.h"

using Cid = gutest::TempDirTest;

TEST_F(Cid, FirstLineOfTheDidFile) {
  // A link in another directory, beside a .did of its own, runs the program from there.
  ASSERT_EQ(0,
            gutest::runShell("cd " + dir_ + " && cp " + gutest::probe("host_probe") +
                             " app && mkdir links inst && ln -s ../app links/app && " +
                             "echo link >links/.did && printf 'installed\\nsecond\\n' >inst/.did")
                .status);
  struct CidCase {
    const char *what, *did, *run, *installDir, *cid;  // did: nullptr for no file
    bool didIsDir = false;
  };
  const CidCase kCases[] = {
      // what, .did beside the program, program run, install dir ("": none given), CID
      {"two lines", "first\nsecond\n", "app", "", "first"},
      {"CRLF", "first\r\nsecond", "app", "", "first\r"},
      {"no line feed", "whole", "app", "", "whole"},
      {"empty", "", "app", "", ""},
      {"no file", nullptr, "app", "", ""},
      {"a directory", nullptr, "app", "", "", true},
      {"through a link", "real\n", "links/app", "", "real"},
      {"install dir", "beside", "app", "inst", "installed"},
      {"install dir with '/'", "beside", "app", "inst/", "installed"},
      {"install dir without a .did", "beside", "app", "none", ""},
  };
  for (const CidCase c : kCases) {
    SCOPED_TRACE(c.what);
    std::filesystem::remove_all(path(".did"));
    if (c.didIsDir) std::filesystem::create_directory(path(".did"));
    if (c.did != nullptr) gutest::writeFile(path(".did"), c.did);
    std::vector<std::string> argv = {path(c.run), "--exe"};
    if (*c.installDir != '\0') argv.push_back(path(c.installDir));
    const gutest::RunResult r = gutest::run(argv);
    EXPECT_EQ(0, r.status) << r.err;
    // GetExeDir, getCidFilePath and GetCidFromFile, each framed, since a CID may hold a '\r'.
    EXPECT_EQ("[" + dir_ + "]\n[" + dir_ + "/.did]\n[" + c.cid + "]\n", r.out);
  }
}
