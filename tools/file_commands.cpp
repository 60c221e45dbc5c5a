// Subcommands on paths and files: path questions, size, comparison and copy.
#include <fcntl.h>
#include <sys/stat.h>
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

int answer(bool yes) { return yes ? kOk : kFailed; }

// exists, isdir and writable: a question about PATH, answered by the exit status alone.
void addPathQuestion(Tool& t, const std::string& name, const std::string& help,
                     const std::string& pathHelp, bool (*question)(const std::string&)) {
  CLI::App* c = t.app.add_subcommand(name, help);
  std::string& path = t.keep<std::string>();
  c->add_option("PATH", path, pathHelp)->required();
  t.action(c, [&path, question] { return answer(question(path)); });
}

struct JoinArgs {
  std::string folder, file;
};

void addPathCommands(Tool& t) {
  addPathQuestion(t, "exists", "No output; 0 if PATH exists (links followed), 1 if not",
                  "path to check",
                  [](const std::string& p) { return GeneralUtils::FileExists(p); });
  addPathQuestion(t, "isdir", "No output; 0 if PATH is a directory, 1 if not",
                  "path to check; one trailing '/' or '\\' is ignored",
                  [](const std::string& p) { return GeneralUtils::DirectoryExists(p); });
  addPathQuestion(t, "writable", "No output; 0 if this user may write PATH, 1 if not",
                  "file or directory to check",
                  [](const std::string& p) { return GeneralUtils::IsFileOrDirWritable(p); });

  CLI::App* c = t.app.add_subcommand("join", "FOLDER and FILE joined with one '/'");
  JoinArgs& a = t.keep<JoinArgs>();
  c->add_option("FOLDER", a.folder, "folder")->required();
  c->add_option("FILE", a.file, "file name")->required();
  t.action(c, [&a] {
    line(GeneralUtils::AppendFileName(a.folder, a.file));
    return kOk;
  });
}

void addSize(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "size", "Size of FILE in bytes; 1 if it is not a regular file or can't be opened");
  std::string& file = t.keep<std::string>();
  c->add_option("FILE", file, "file to measure")->required();
  t.action(c, [&file] {
    workingOn(file.c_str());
    std::streamoff size = 0;
    const int reason = GeneralUtils::fileSizeReport(file, size);
    if (reason != 0) return fail("size", file, GeneralUtils::fileErrorText(reason));
    line(std::to_string(size));
    return kOk;
  });
}

struct CmpArgs {
  std::string first, second;
  bool silent = false;
};

void addCmp(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "cmp", "No output; as cmp -s: 0 if A and B hold the same bytes, 1 if not, 2 on trouble");
  CmpArgs& a = t.keep<CmpArgs>();
  // Scripts write cmp -s out of habit; the tool is silent anyway.
  c->add_flag("-s,--quiet,--silent", a.silent, "accepted and ignored: there is no output anyway");
  c->add_option("A", a.first, "first file")->required();
  c->add_option("B", a.second, "second file")->required();
  t.action(c, [&a] {
    workingOn(a.first.c_str());
    bool same = false;
    std::string failed;
    const int reason = GeneralUtils::compareFilesReport(a.first, a.second, same, failed);
    if (reason == 0) return answer(same);
    fail("cmp", failed, GeneralUtils::fileErrorText(reason));
    return kTrouble;
  });
}

struct CpArgs {
  std::string source, destination;
};

// Where cp SRC DST writes: DST, or, when DST is a directory, the file in it named as SRC's last
// path component.
std::string copyTarget(const std::string& source, const std::string& destination) {
  struct stat st;
  if (::stat(destination.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) return destination;
  const std::size_t slash = source.rfind('/');
  return GeneralUtils::AppendFileName(
      destination, slash == std::string::npos ? source : source.substr(slash + 1));
}

void addCp(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "cp",
      "Copy SRC over DST (a file or character device) or into DST/ (a directory); 0 only if the "
      "copy then holds exactly SRC's bytes, else 1");
  CpArgs& a = t.keep<CpArgs>();
  c->add_option("SRC", a.source, "regular file to copy")->required();
  c->add_option("DST", a.destination,
                "file to create or replace, a character device, or a directory to copy into")
      ->required();
  t.action(c, [&a] {
    workingOn(a.source.c_str());
    std::string failed;
    const std::string target = copyTarget(a.source, a.destination);
    const int reason = GeneralUtils::copyFileReport(a.source, target, failed);
    return reason == 0 ? kOk : fail("cp", failed, GeneralUtils::fileErrorText(reason));
  });
}

}  // namespace

void addFileCommands(Tool& t) {
  addPathCommands(t);
  addSize(t);
  addCmp(t);
  addCp(t);
}

}  // namespace gutool
