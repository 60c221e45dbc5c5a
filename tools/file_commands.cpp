// Subcommands on paths and files: CRC-32C, path questions, size, comparison and copy.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

// The CRC's read size: large enough for few system calls, small enough to never matter.
constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;

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
    const ssize_t n = ::read(fd, block.data(), block.size());
    if (n == 0) return 0;
    if (n > 0) {
      crc = GeneralUtils::crc32c(crc, block.data(), static_cast<std::size_t>(n));
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

int crcCommand(std::vector<std::string> files) {
  if (files.empty()) files.emplace_back("-");
  std::vector<unsigned char> block(kBlockBytes);
  int status = kOk;
  for (const std::string& name : files) {
    const bool isStdin = name == "-";
    const int fd = isStdin ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    int error = fd < 0 ? errno : 0;
    FdGuard guard(isStdin ? -1 : fd);
    uint32_t crc = 0;
    if (error == 0) error = streamCrc(fd, block, crc);
    if (error != 0) {
      complain("crc32c: " + name + ": " + std::strerror(error));
      status = kFailed;
      continue;
    }
    line(GeneralUtils::sprintfString("%08x ", static_cast<unsigned>(crc)) + name);
  }
  return status;
}

// copyFileWr reports nothing, so the checks it can't make come before it, and a destination
// that ends up missing or short (no such directory, disk full) shows a failure after it.
int copyCommand(const std::string& src, const std::string& dst) {
  struct stat from = {};
  struct stat to = {};
  if (::stat(src.c_str(), &from) != 0 || ::access(src.c_str(), R_OK) != 0) {
    complain("cp: cannot read '" + src + "': " + std::strerror(errno));
    return kFailed;
  }
  if (S_ISDIR(from.st_mode)) {
    complain("cp: '" + src + "' is a directory");
    return kFailed;
  }
  const bool dstExists = ::stat(dst.c_str(), &to) == 0;
  if (dstExists && to.st_dev == from.st_dev && to.st_ino == from.st_ino) {
    complain("cp: '" + src + "' and '" + dst + "' are the same file");
    return kFailed;
  }
  if (dstExists && S_ISDIR(to.st_mode)) {
    complain("cp: '" + dst + "' is a directory");
    return kFailed;
  }
  GeneralUtils::copyFileWr(src, dst);
  if (::stat(dst.c_str(), &to) != 0 || to.st_size < from.st_size) {
    complain("cp: cannot write '" + dst + "'");
    return kFailed;
  }
  return kOk;
}

int answer(bool yes) { return yes ? kOk : kFalse; }

}  // namespace

void addFileCommands(Tool& t) {
  Args& a = t.args;

  CLI::App* c = t.app.add_subcommand("crc32c", "CRC-32C of each FILE, or of standard input");
  c->add_option("FILE", a.files, "files to check; '-' or none: standard input");
  t.action(c, [&a] { return crcCommand(a.files); });

  c = t.app.add_subcommand("exists", "Status 0 if PATH exists (links followed), else 1");
  c->add_option("PATH", a.path, "path to check")->required();
  t.action(c, [&a] { return answer(GeneralUtils::FileExists(a.path)); });

  c = t.app.add_subcommand("isdir", "Status 0 if PATH is a directory, else 1");
  c->add_option("PATH", a.path, "path to check; one trailing '/' or '\\' is ignored")->required();
  t.action(c, [&a] { return answer(GeneralUtils::DirectoryExists(a.path)); });

  c = t.app.add_subcommand("writable", "Status 0 if PATH is writable for this user, else 1");
  c->add_option("PATH", a.path, "file or directory to check")->required();
  t.action(c, [&a] { return answer(GeneralUtils::IsFileOrDirWritable(a.path)); });

  c = t.app.add_subcommand("join", "FOLDER and FILE joined with one '/'");
  c->add_option("FOLDER", a.path, "folder")->required();
  c->add_option("FILE", a.other, "file name")->required();
  t.action(c, [&a] {
    line(GeneralUtils::AppendFileName(a.path, a.other));
    return kOk;
  });

  c = t.app.add_subcommand("size", "Size of FILE in bytes");
  c->add_option("FILE", a.path, "file to measure")->required();
  t.action(c, [&a] {
    try {
      line(std::to_string(static_cast<std::streamoff>(GeneralUtils::FileSize(a.path))));
      return kOk;
    } catch (const std::runtime_error& e) {
      complain(std::string("size: ") + e.what());
      return kFailed;
    }
  });

  c = t.app.add_subcommand("cmp", "Status 0 if A and B hold the same bytes, else 1");
  c->add_option("A", a.path, "first file")->required();
  c->add_option("B", a.other, "second file")->required();
  t.action(c, [&a] { return answer(GeneralUtils::CompareFiles(a.path, a.other)); });

  c = t.app.add_subcommand("cp", "Copy SRC's bytes over DST");
  c->add_option("SRC", a.path, "file to copy")->required();
  c->add_option("DST", a.other, "file to create or replace")->required();
  t.action(c, [&a] { return copyCommand(a.path, a.other); });
}

}  // namespace gutool
