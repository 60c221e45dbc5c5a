// The crc32c subcommand: CRC-32C checksum lists of files and standard input.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

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
  std::vector<unsigned char> block(kReadBlock);
  int status = kOk;
  for (const std::string& name : files) {
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

}  // namespace

void addCrcCommands(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "crc32c",
      "CRC-32C (8 hex digits), a blank, the name, per FILE or stdin (-); a name with LF "
      "or \\ escaped; 1 if one fails");
  auto& files = t.keep<std::vector<std::string>>();
  c->add_option("FILE", files, "files to check; '-' or none: standard input");
  t.action(c, [&files] { return crcCommand(files); });
}

}  // namespace gutool
