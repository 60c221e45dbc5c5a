// Path queries on a real tree in a temp dir, and path building.
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;

using Paths = gutest::TempDirTest;

TEST_F(Paths, Queries) {
  ASSERT_EQ(0, gutest::runShell("cd " + dir_ + " && echo x >f && mkdir d && ln -s f lf && " +
                                "ln -s d ld && ln -s none dangling")
                   .status);
  struct PathCase {
    std::string path;
    bool dir, exists, writable;
    int err;  // errno after FileExists and after IsFileOrDirWritable; 0 when left alone
  };
  const PathCase kCases[] = {
      // path, DirectoryExists, FileExists, IsFileOrDirWritable, errno
      {path("f"), false, true, true, 0},
      {path("d"), true, true, true, 0},
      {path("d/"), true, true, true, 0},
      {path("d\\"), true, false, false, ENOENT},     // only DirectoryExists drops a backslash
      {path("d\\\\"), false, false, false, ENOENT},  // and only one
      {path("f/"), false, false, false, ENOTDIR},
      {path("lf"), false, true, true, 0},
      {path("ld/"), true, true, true, 0},
      {path("dangling"), false, false, false, ENOENT},
      {path("none"), false, false, false, ENOENT},
      {"", false, false, false, ENOENT},
      {"/", true, true, true, 0},                        // the root directory
      {"\\", false, false, false, ENOENT},               // a relative name
      {path("f") + '\0' + "x", false, false, false, 0},  // cut at the NUL, it would be "f"
  };
  for (const PathCase& c : kCases) {
    SCOPED_TRACE(testing::PrintToString(c.path));
    EXPECT_EQ(c.dir, DirectoryExists(c.path));
    errno = 0;
    EXPECT_EQ(c.exists, FileExists(c.path));
    EXPECT_EQ(c.err, errno);
    errno = 0;
    EXPECT_EQ(c.writable, IsFileOrDirWritable(c.path));
    EXPECT_EQ(c.err, errno);
  }
}

TEST_F(Paths, NotWritableOnAReadOnlyMount) {
  // Permission bits don't stop root, but a read-only mount does; its read-write twin shows
  // that the set-up alone doesn't refuse.
  if (gutest::runShell("unshare -Urm true").status != 0) {
    GTEST_SKIP() << "unshare -Urm (a mount namespace of our own) is not permitted here";
  }
  ASSERT_EQ(0, ::mkdir(path("m").c_str(), 0755));
  const std::pair<std::string, std::string> kCases[] = {
      // mount options, "<IsFileOrDirWritable> <errno>"
      {"ro", "0 " + std::to_string(EROFS) + "\n"},
      {"rw", "1 0\n"},
  };
  for (const auto& [options, answer] : kCases) {
    SCOPED_TRACE(options);
    const gutest::RunResult r = gutest::runShell(
        "unshare -Urm sh -ec 'mount -t tmpfs -o " + options + " none " + path("m") + "; exec " +
        gutest::probe("host_probe") + " --writable " + path("m") + "'");
    EXPECT_EQ(answer, r.out) << r.err;
  }
}

TEST_F(Paths, AppendFileNameAndTempFolder) {
  struct AppendCase {
    const char *folder, *file, *joined;
  };
  const AppendCase kCases[] = {
      // folder  file  joined
      {"a", "b", "a/b"}, {"a/", "b", "a/b"}, {"a\\", "b", "a\\/b"}, {"a//", "b", "a//b"},
      {"", "b", "b"},    {"a", "", "a/"},    {"/", "b", "/b"},      {"", "", ""},
  };
  for (const AppendCase& c : kCases) {
    SCOPED_TRACE(std::string(c.folder) + " + " + c.file);
    EXPECT_EQ(c.joined, AppendFileName(c.folder, c.file));
  }
  EXPECT_EQ("/var/tmp", GetTempFolder());
}
