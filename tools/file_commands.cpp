// Subcommands on paths and files: CRC-32C, path questions, size, comparison and copy.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ios>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

// Closes a descriptor it owns on every path; close() is never retried.
class FdGuard {
 public:
  explicit FdGuard(int fd) : fd_(fd) {}
  FdGuard(const FdGuard&) = delete;
  FdGuard& operator=(const FdGuard&) = delete;
  ~FdGuard() {
    if (fd_ >= 0) ::close(fd_);
  }

 private:
  int fd_;
};

// CRC-32C of everything fd holds, chained block by block so that memory stays at one block
// whatever the size. Gives 0 or the errno of the failed read.
int streamCrc(int fd, std::vector<unsigned char>& block, uint32_t& crc) {
  crc = 0;
  for (;;) {
    const ssize_t n = readSome(fd, block.data(), block.size());
    if (n == 0) return 0;
    if (n < 0) return errno;
    crc = GeneralUtils::crc32c(crc, block.data(), static_cast<std::size_t>(n));
  }
}

// One checksum line. A name holding a line feed would break the one-line-per-file rule, so
// it is escaped the way checksum lists escape it: the line starts with a backslash, and the
// name has "\n" for a line feed and "\\" for a backslash, which keeps the escaping reversible.
std::string crcLine(uint32_t crc, const std::string& name) {
  std::string escaped;
  bool marked = false;
  for (const char ch : name) {
    if (ch == '\n' || ch == '\\') {
      escaped += ch == '\n' ? "\\n" : "\\\\";
      marked = true;
    } else {
      escaped += ch;
    }
  }
  return (marked ? "\\" : "") + GeneralUtils::sprintfString("%08x ", static_cast<unsigned>(crc)) +
         escaped;
}

int crcCommand(std::vector<std::string> files) {
  if (files.empty()) files.emplace_back("-");
  std::vector<unsigned char> block(kBlockBytes);
  int status = kOk;
  for (const std::string& name : files) {
    workingOn(name.c_str());
    const bool isStdin = name == "-";
    const int fd = isStdin ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    int error = fd < 0 ? errno : 0;
    FdGuard guard(isStdin ? -1 : fd);
    uint32_t crc = 0;
    if (error == 0) error = streamCrc(fd, block, crc);
    if (error != 0) {
      status = fail("crc32c", name, std::strerror(error));
      continue;
    }
    line(crcLine(crc, name));
  }
  return status;
}

int answer(bool yes) { return yes ? kOk : kFalse; }

}  // namespace

void addFileCommands(Tool& t) {
  Args& a = t.args;

  CLI::App* c = t.app.add_subcommand(
      "crc32c",
      "CRC-32C (8 hex digits), a blank, the name, per FILE or stdin (-); a name with LF "
      "or \\ escaped; 1 if one fails");
  c->add_option("FILE", a.files, "files to check; '-' or none: standard input");
  t.action(c, [&a] { return crcCommand(a.files); });

  c = t.app.add_subcommand("exists", "No output; 0 if PATH exists (links followed), 1 if not");
  c->add_option("PATH", a.path, "path to check")->required();
  t.action(c, [&a] { return answer(GeneralUtils::FileExists(a.path)); });

  c = t.app.add_subcommand("isdir", "No output; 0 if PATH is a directory, 1 if not");
  c->add_option("PATH", a.path, "path to check; one trailing '/' or '\\' is ignored")->required();
  t.action(c, [&a] { return answer(GeneralUtils::DirectoryExists(a.path)); });

  c = t.app.add_subcommand("writable", "No output; 0 if this user may write PATH, 1 if not");
  c->add_option("PATH", a.path, "file or directory to check")->required();
  t.action(c, [&a] { return answer(GeneralUtils::IsFileOrDirWritable(a.path)); });

  c = t.app.add_subcommand("join", "FOLDER and FILE joined with one '/'");
  c->add_option("FOLDER", a.path, "folder")->required();
  c->add_option("FILE", a.other, "file name")->required();
  t.action(c, [&a] {
    line(GeneralUtils::AppendFileName(a.path, a.other));
    return kOk;
  });

  c = t.app.add_subcommand(
      "size", "Size of FILE in bytes; 1 if it is not a regular file or can't be opened");
  c->add_option("FILE", a.path, "file to measure")->required();
  t.action(c, [&a] {
    workingOn(a.path.c_str());
    std::streamoff size = 0;
    const int reason = GeneralUtils::fileSizeReport(a.path, size);
    if (reason != 0) return fail("size", a.path, GeneralUtils::fileErrorText(reason));
    line(std::to_string(size));
    return kOk;
  });

  c = t.app.add_subcommand(
      "cmp", "No output; as cmp -s: 0 if A and B hold the same bytes, 1 if not, 2 on trouble");
  c->add_option("A", a.path, "first file")->required();
  c->add_option("B", a.other, "second file")->required();
  t.action(c, [&a] {
    workingOn(a.path.c_str());
    bool same = false;
    std::string failed;
    const int reason = GeneralUtils::compareFilesReport(a.path, a.other, same, failed);
    if (reason == 0) return answer(same);
    fail("cmp", failed, GeneralUtils::fileErrorText(reason));
    return kTrouble;
  });

  c = t.app.add_subcommand("cp",
                           "Copy SRC over DST (a file or character device); 0 only if DST then "
                           "holds exactly SRC's bytes, else 1");
  c->add_option("SRC", a.path, "regular file to copy")->required();
  c->add_option("DST", a.other, "file to create or replace, or a character device")->required();
  t.action(c, [&a] {
    workingOn(a.path.c_str());
    std::string failed;
    const int reason = GeneralUtils::copyFileReport(a.path, a.other, failed);
    return reason == 0 ? kOk : fail("cp", failed, GeneralUtils::fileErrorText(reason));
  });
}

}  // namespace gutool
