// The crc32c subcommand: CRC-32C checksum lists of files and standard input, written and checked.
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

// crc32c's command line as the parser fills it in.
struct CrcArgs {
  bool check = false, quiet = false, status = false, warn = false, strict = false,
       ignoreMissing = false, tag = false, zero = false;
  std::vector<std::string> files;
};

const char kTagStart[] = "CRC32C (", kTagEnd[] = ") = ";

// Standard input for "-", else the file opened for reading; -1 with errno set on failure.
int openInput(const std::string& name) {
  return name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
}

// The block that crc32c reads into, kCrcBlock bytes from the start of a page. The kernel
// copies a file's cached pages into a buffer several times slower on some processors when the
// buffer starts a few bytes into a page: each store then lands just behind a load 4 KiB away
// and waits for it.
class CrcBlock {
 public:
  CrcBlock() : storage_(kCrcBlock + kPage) {}
  unsigned char* data() {
    const auto at = reinterpret_cast<std::uintptr_t>(storage_.data());
    return storage_.data() + (kPage - at % kPage) % kPage;
  }
  std::size_t size() const { return kCrcBlock; }

 private:
  static constexpr std::size_t kPage = 4096;
  std::vector<unsigned char> storage_;
};

// CRC-32C of everything fd holds, chained block by block so that memory stays at one block
// whatever the size. Gives 0 or the errno of the failed read.
int streamCrc(int fd, CrcBlock& block, uint32_t& crc) {
  crc = 0;
  for (;;) {
    const ssize_t n = readSome(fd, block.data(), block.size());
    if (n == 0) return 0;
    if (n < 0) return errno;
    crc = GeneralUtils::crc32c(crc, block.data(), static_cast<std::size_t>(n));
  }
}

// CRC-32C of the file, or of standard input for "-". Gives 0 or the errno of the failure.
int fileCrc(const std::string& name, CrcBlock& block, uint32_t& crc) {
  workingOn(name.c_str());
  const int fd = openInput(name);
  if (fd < 0) return errno;
  FdGuard guard(name == "-" ? -1 : fd);
  return streamCrc(fd, block, crc);
}

// A LF in a name would break the one-line-per-file rule, and a CR at its end would read as
// half of a CR LF, so a LF-ended line escapes both: it starts with a backslash, and the name
// has "\n", "\r" and "\\", which is reversible since every backslash in the name is doubled.
// NUL-ended lines need none of it.
bool escapes(const std::string& name, bool zero) {
  return !zero && name.find_first_of("\n\r\\") != std::string::npos;
}

// What a line starts with, and then the name as it shows there.
std::string lineStart(const std::string& name, bool zero) {
  return escapes(name, zero) ? "\\" : "";
}

std::string shownName(const std::string& name, bool zero) {
  if (!escapes(name, zero)) return name;
  std::string escaped;
  for (const char ch : name) {
    escaped += ch == '\n' ? "\\n" : ch == '\r' ? "\\r" : ch == '\\' ? "\\\\" : std::string(1, ch);
  }
  return escaped;
}

// Ends a line of output with a LF, or with a NUL for -z.
void emit(const std::string& text, bool zero) { out(text + (zero ? '\0' : '\n')); }

// One list line. A name that begins with a blank or '*' gets a second blank, so that a reader
// taking a second blank or '*' behind the checksum for a mode mark still reads the whole name.
std::string sumLine(uint32_t crc, const std::string& name, const CrcArgs& a) {
  const std::string hex = GeneralUtils::sprintfString("%08x", static_cast<unsigned>(crc));
  const std::string start = lineStart(name, a.zero), text = shownName(name, a.zero);
  if (a.tag) return start + kTagStart + text + kTagEnd + hex;
  const bool marked = !name.empty() && (name[0] == ' ' || name[0] == '*');
  return start + hex + (marked ? "  " : " ") + text;
}

int sumCommand(const CrcArgs& a) {
  CrcBlock block;
  int status = kOk;
  for (const std::string& name : a.files) {
    uint32_t crc = 0;
    const int error = fileCrc(name, block, crc);
    if (error != 0) {
      status = fail("crc32c", name, std::strerror(error));
      continue;
    }
    emit(sumLine(crc, name, a), a.zero);
  }
  return status;
}

// The lines of a list, read block by block straight from the descriptor, so that nothing is
// lost to a signal and memory stays bounded: a line longer than kListLineMost is not kept,
// only marked, and the reader skips to its end.
class ListReader {
 public:
  ListReader(int fd, char end) : fd_(fd), end_(end), block_(kReadBlock) {}
  // The next line without its end; false at the end of the list or on a read error.
  bool next(std::string& text, bool& tooLong);
  int error() const { return error_; }

 private:
  int fd_;
  char end_;
  std::vector<char> block_;
  std::size_t begin_ = 0, size_ = 0;
  int error_ = 0;
};

bool ListReader::next(std::string& text, bool& tooLong) {
  text.clear();
  tooLong = false;
  for (bool started = false;; started = true) {
    if (begin_ == size_) {
      const ssize_t n = readSome(fd_, block_.data(), block_.size());
      if (n < 0) error_ = errno;
      if (n <= 0) return started && n == 0;  // a last line without its end still counts
      begin_ = 0, size_ = static_cast<std::size_t>(n);
    }
    const char* from = block_.data() + begin_;
    const auto* stop = static_cast<const char*>(std::memchr(from, end_, size_ - begin_));
    const std::size_t count =
        stop != nullptr ? static_cast<std::size_t>(stop - from) : size_ - begin_;
    tooLong = tooLong || text.size() + count > kListLineMost;
    if (tooLong) text.clear();
    if (!tooLong) text.append(from, count);
    begin_ += count + (stop != nullptr ? 1 : 0);
    if (stop != nullptr) return true;
  }
}

struct Entry {
  uint32_t crc = 0;
  std::string name;
};

bool parseHex8(const std::string& hex, uint32_t& crc) {
  if (hex.size() != 8 || hex.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    return false;
  }
  crc = static_cast<uint32_t>(std::stoul(hex, nullptr, 16));
  return true;
}

// Undoes shownName()'s escapes; false for any other backslash sequence.
bool unescape(std::string& name) {
  std::string plain;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char next = i + 1 < name.size() ? name[i + 1] : '\0';
    if (name[i] != '\\') {
      plain += name[i];
    } else if (next == 'n' || next == 'r' || next == '\\') {
      plain += next == 'n' ? '\n' : next == 'r' ? '\r' : '\\';
      ++i;
    } else {
      return false;
    }
  }
  name = plain;
  return true;
}

// A list line in either form the tool writes; false if it is improperly formatted.
bool parseEntry(std::string text, Entry& e) {
  const bool escaped = !text.empty() && text[0] == '\\';
  if (escaped) text.erase(0, 1);
  std::string hex;
  const std::size_t start = sizeof kTagStart - 1, tagEnd = text.rfind(kTagEnd);
  if (text.compare(0, start, kTagStart) == 0) {
    if (tagEnd == std::string::npos) return false;
    e.name = text.substr(start, tagEnd - start);
    hex = text.substr(tagEnd + sizeof kTagEnd - 1);
  } else {
    if (text.size() < 10 || text[8] != ' ') return false;
    const bool modeMark = text[9] == ' ' || text[9] == '*';
    e.name = text.substr(modeMark ? 10 : 9);
    hex = text.substr(0, 8);
  }
  return parseHex8(hex, e.crc) && !e.name.empty() && (!escaped || unescape(e.name));
}

// What checking one list found, line by line.
struct Tally {
  std::size_t formatted = 0, improper = 0, unread = 0, mismatched = 0, verified = 0;
};

void checkEntry(const Entry& e, const CrcArgs& a, CrcBlock& block, Tally& t) {
  uint32_t crc = 0;
  const int error = fileCrc(e.name, block, crc);
  if (error == ENOENT && a.ignoreMissing) return;
  const char* result = "OK";
  if (error != 0) {
    ++t.unread;
    result = "FAILED open or read";
    if (!a.status) fail("crc32c", e.name, std::strerror(error));
  } else {
    ++t.verified;
    if (crc != e.crc) {
      ++t.mismatched;
      result = "FAILED";
    }
  }
  const bool ok = error == 0 && crc == e.crc;
  if (!a.status && !(a.quiet && ok)) {
    emit(lineStart(e.name, a.zero) + shownName(e.name, a.zero) + ": " + result, a.zero);
  }
}

// "WARNING: 1 line is improperly formatted", or the plural, when count is not 0.
void warnCount(const std::string& list, std::size_t count, const std::string& one,
               const std::string& many) {
  if (count == 0) return;
  fail("crc32c", list, "WARNING: " + std::to_string(count) + ' ' + (count == 1 ? one : many));
}

int listStatus(const std::string& list, const CrcArgs& a, const Tally& t) {
  if (t.formatted == 0) return fail("crc32c", list, "no properly formatted checksum lines found");
  if (!a.status) {
    warnCount(list, t.improper, "line is improperly formatted", "lines are improperly formatted");
    warnCount(list, t.unread, "listed file could not be read", "listed files could not be read");
    warnCount(list, t.mismatched, "computed checksum did NOT match",
              "computed checksums did NOT match");
  }
  if (a.ignoreMissing && t.verified == 0) return fail("crc32c", list, "no file was verified");
  const bool failed = t.unread > 0 || t.mismatched > 0 || (a.strict && t.improper > 0);
  return failed ? kFailed : kOk;
}

int checkList(const std::string& list, const CrcArgs& a, CrcBlock& block) {
  workingOn(list.c_str());
  const int fd = openInput(list);
  if (fd < 0) return fail("crc32c", list, std::strerror(errno));
  FdGuard guard(list == "-" ? -1 : fd);
  ListReader reader(fd, a.zero ? '\0' : '\n');
  Tally t;
  std::string text;
  bool tooLong = false;
  Entry e;
  for (std::size_t number = 1; reader.next(text, tooLong); ++number) {
    // NUL-ended names are not escaped, so a CR at their end is their own.
    if (!a.zero && !text.empty() && text.back() == '\r') text.pop_back();
    if (!tooLong && (text.empty() || text[0] == '#')) continue;
    if (!tooLong && parseEntry(text, e)) {
      ++t.formatted;
      checkEntry(e, a, block, t);
      continue;
    }
    ++t.improper;
    if (a.warn && !a.status) {
      fail("crc32c", list, std::to_string(number) + ": improperly formatted checksum line");
    }
  }
  if (reader.error() != 0) return fail("crc32c", list, std::strerror(reader.error()));
  return listStatus(list, a, t);
}

int checkCommand(const CrcArgs& a) {
  CrcBlock block;
  int status = kOk;
  for (const std::string& list : a.files) {
    if (checkList(list, a, block) != kOk) status = kFailed;
  }
  return status;
}

// crc32c --help's closing part: the forms of the lines, and what --check makes of them.
std::string listHelp(const std::string& footer) {
  return "Lines: CRC, a blank and NAME (two blanks before a NAME that begins with a\n"
         "blank or '*'), or with --tag 'CRC32C (NAME) = CRC'; CRC is 8 lower-case hex\n"
         "digits. A NAME holding a LF, CR or '\\' has them as \\n, \\r and \\\\, and its line\n"
         "starts with '\\'. With -z, lines end with a NUL instead of a LF and names are not\n"
         "escaped.\n"
         "\n"
         "--check reads such lines from each FILE, a list, and prints per listed file\n"
         "'NAME: OK', 'NAME: FAILED' or 'NAME: FAILED open or read', then on standard error\n"
         "how many lines were improperly formatted, files could not be read and checksums\n"
         "did NOT match. It takes hex digits in either case, a second blank or '*' before\n"
         "NAME and a CR before the LF, and skips empty lines and lines that begin with '#';\n"
         "a line longer than " +
         std::to_string(kListLineMost / 1024) +
         " KiB is improperly formatted. Status 1 if a listed file\n"
         "fails, a list has no properly formatted line or (--ignore-missing) no file was\n"
         "verified, or (--strict) a line is improperly formatted. --status silences all\n"
         "but the messages about a list itself.\n\n" +
         footer;
}

// crc32c's options, and the arguments they fill in, kept for as long as the tool runs.
CrcArgs& addCrcOptions(Tool& t, CLI::App* c) {
  CrcArgs& a = t.keep<CrcArgs>();
  CLI::Option* check =
      c->add_flag("-c,--check", a.check, "read checksum lists (FILEs), check the files named");
  c->add_flag("--quiet", a.quiet, "with --check: no line for a file that is OK")->needs(check);
  c->add_flag("--status", a.status, "with --check: no output at all, the exit status alone")
      ->needs(check);
  c->add_flag("-w,--warn", a.warn, "with --check: a warning per improperly formatted line")
      ->needs(check);
  c->add_flag("--strict", a.strict, "with --check: 1 if a line is improperly formatted")
      ->needs(check);
  c->add_flag("--ignore-missing", a.ignoreMissing,
              "with --check: a listed file that does not exist is no failure, and not shown")
      ->needs(check);
  c->add_flag("--tag", a.tag, "write 'CRC32C (NAME) = CRC' lines")->excludes(check);
  c->add_flag("-z,--zero", a.zero,
              "end lines with NUL, not LF, and escape no name; with --check, read such lines");
  c->add_option("FILE", a.files, "files to sum, or with --check lists; '-' or none: stdin");
  return a;
}

}  // namespace

void addCrcCommands(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "crc32c",
      "CRC-32C (8 hex digits), a blank, the name, per FILE or stdin (-); --check checks such "
      "lists; 1 if one fails");
  CrcArgs& a = addCrcOptions(t, c);
  c->footer(listHelp(c->get_footer()));
  t.action(c, [&a] {
    if (a.files.empty()) a.files.emplace_back("-");
    return a.check ? checkCommand(a) : sumCommand(a);
  });
}

}  // namespace gutool
