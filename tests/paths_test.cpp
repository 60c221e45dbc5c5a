// Path queries on a real tree in a temp dir, and path building.
#include <cerrno>
#include <cstdlib>
#include <tuple>

#include "GeneralUtils.h"
#include "test_support.h"

using namespace GeneralUtils;

using Paths = gutest::TempDirTest;

TEST_F(Paths, QueriesAndBuilding) {
  const std::string tree = "touch f && mkdir d && ln -s d ld && ln -s none dangling";
  ASSERT_EQ(0, gutest::runShell("cd " + dir_ + " && " + tree).status);
  // exists: FileExists, and IsFileOrDirWritable in a temp dir of our own; err: errno after
  // FileExists, 0 when left alone.
  // clang-format off
  const std::tuple<std::string, bool, bool, int> kCases[] = {
      // path, DirectoryExists, FileExists, errno
      {path("f"), false, true, 0},               {path("d"), true, true, 0},
      {path("d/"), true, true, 0},               {path("ld"), true, true, 0},
      {path("dangling"), false, false, ENOENT},  {path("none"), false, false, ENOENT},
      {"", false, false, ENOENT},                {"\\", false, false, ENOENT},  // a relative name
      {path("d\\"), true, false, ENOENT},        // only DirectoryExists drops a backslash
      {path("d\\\\"), false, false, ENOENT},     // and only one
      {"/", true, true, 0},                      // the root directory, kept whole
      {path("d") + '\0' + "x", false, false, 0},  // cut at the NUL, it would be "d"
  };
  // clang-format on
  for (const auto& [p, dir, exists, err] : kCases) {
    SCOPED_TRACE(testing::PrintToString(p));
    EXPECT_EQ(dir, DirectoryExists(p));
    errno = 0;
    EXPECT_EQ(exists, FileExists(p));
    EXPECT_EQ(err, errno);
    // Whether "/" is writable depends on the user and on the root file system's mount.
    if (p == "/") continue;
    EXPECT_EQ(exists, IsFileOrDirWritable(p));
  }
  // A sysctl file that its mode keeps read-only even for root.
  EXPECT_FALSE(IsFileOrDirWritable("/proc/sys/kernel/ostype"));
  // folder, AppendFileName(folder, "b"): only '/' counts as a separator
  const std::pair<const char*, const char*> kAppends[] = {
      {"a", "a/b"}, {"a/", "a/b"}, {"a\\", "a\\/b"}, {"", "b"}};
  for (const auto& [folder, joined] : kAppends) EXPECT_EQ(joined, AppendFileName(folder, "b"));
  // Fixed: no variable of the environment moves it.
  ASSERT_EQ(0, ::setenv("TMPDIR", dir_.c_str(), 1));
  EXPECT_EQ("/var/tmp", GetTempFolder());
  ::unsetenv("TMPDIR");
}
