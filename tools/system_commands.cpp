// Subcommands on the machine and the process: fingerprint and its parts, CID, commands, console.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

using Json = nlohmann::ordered_json;

std::string hardwareAddress(const GeneralUtils::MacInterface& i) {
  const unsigned char* b = i.address;
  return GeneralUtils::sprintfString("%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4],
                                     b[5]);
}

using Fields = std::vector<std::pair<std::string, std::string>>;

// The machine report's fields. The fingerprint and the parts shown come from one reading of the
// parts, so they always belong together.
Fields infoFields() {
  using namespace GeneralUtils;
  const FingerprintParts parts = getSystemFingerprintParts();
  return {
      {"os", GetOS_Name()},
      {"node_name", parts.nodeName},
      {"machine_details_hash", hex4(parts.machineDetailsHash)},
      {"mac_hash", hex4(parts.macHash)},
      {"cpu_hash", hex4(parts.cpuHash)},
      {"fingerprint_input", fingerprintText(parts)},
      {"fingerprint", fingerprintOfParts(parts)},
      {"exe_dir", GetExeDir()},
      {"temp_folder", GetTempFolder()},
      {"cid_file", getCidFilePath()},
      {"cid", GetCidFromFile("")},
  };
}

void printJson(const Fields& fields, const std::vector<GeneralUtils::MacInterface>& interfaces) {
  Json doc = Json::object();
  for (const auto& field : fields) doc[field.first] = field.second;
  doc["interfaces"] = Json::array();
  for (const GeneralUtils::MacInterface& i : interfaces) {
    doc["interfaces"].push_back({{"name", i.name},
                                 {"address", i.hasAddress ? Json(hardwareAddress(i)) : Json()},
                                 {"hash", hex4(i.hash)},
                                 {"counted", i.counted}});
  }
  // Node names and CIDs are bytes, not UTF-8: a bad sequence becomes U+FFFD, not an error.
  line(doc.dump(2, ' ', false, Json::error_handler_t::replace));
}

// One aligned line per field, then one per interface record.
void printLines(Fields rows, const std::vector<GeneralUtils::MacInterface>& interfaces) {
  for (const GeneralUtils::MacInterface& i : interfaces) {
    rows.emplace_back("interface", i.name + ' ' + (i.hasAddress ? hardwareAddress(i) : "none") +
                                       ' ' + hex4(i.hash) +
                                       (i.counted ? " counted" : " uncounted"));
  }
  std::size_t width = 0;
  for (const auto& row : rows) width = std::max(width, row.first.size());
  for (const auto& row : rows) {
    std::string label = row.first + ':';
    std::replace(label.begin(), label.end(), '_', ' ');
    label.resize(width + 2, ' ');
    line(label + row.second);
  }
}

// One line of standard input, read a byte at a time: a pipe can't be read back, so reading
// ahead would take bytes from the next reader of the same input, as the shell's read never
// does. At most limit - 1 bytes; a line that long leaves its '\n' to the next reader.
int readlineCommand(int limit) {
  std::string text;
  const std::size_t most = static_cast<std::size_t>(limit) - 1;
  while (text.size() < most) {
    char ch = 0;
    const ssize_t n = readSome(STDIN_FILENO, &ch, 1);
    if (n < 0) return fail("readline", "-", std::strerror(errno));
    if (n == 0 && text.empty()) return kFailed;
    if (n == 0 || ch == '\n') break;
    text += ch;
  }
  line(text);
  return kOk;
}

// fingerprint, exedir and tmpdir: one line, with nothing to ask.
void addAnswer(Tool& t, const std::string& name, const std::string& help, std::string (*answer)()) {
  t.action(t.app.add_subcommand(name, help), [answer] {
    line(answer());
    return kOk;
  });
}

void addMachine(Tool& t) {
  addAnswer(t, "fingerprint", "This machine's fingerprint (computed once per process)",
            [] { return std::string(GeneralUtils::GetSystemFingerprintCStr()); });
  CLI::App* c = t.app.add_subcommand(
      "info",
      "OS, fingerprint, its parts and input text, paths, CID, IPv4 interfaces in kernel order");
  bool& json = t.keep<bool>();
  c->add_flag("--json", json, "one JSON object instead of aligned lines");
  t.action(c, [&json] {
    const Fields fields = infoFields();
    const auto interfaces = GeneralUtils::getMacInterfaces();
    json ? printJson(fields, interfaces) : printLines(fields, interfaces);
    return kOk;
  });
  addAnswer(t, "exedir", "Directory of the generalutils executable", GeneralUtils::GetExeDir);
  addAnswer(t, "tmpdir", "The library's temp folder", GeneralUtils::GetTempFolder);
}

void addCid(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "cid",
      "First line of DIR/.did, or of .did beside the tool; 1 if unreadable or the line is empty");
  std::string& dir = t.keep<std::string>();
  c->add_option("DIR", dir, "installation directory; absent: the tool's own directory");
  t.action(c, [&dir] {
    workingOn(dir.empty() ? GeneralUtils::getCidFilePath().c_str() : dir.c_str());
    std::string cid, didPath;
    const int reason = GeneralUtils::cidFromFileReport(dir, cid, didPath);
    if (reason != 0) return fail("cid", didPath, GeneralUtils::fileErrorText(reason));
    if (cid.empty()) return fail("cid", didPath, "First line is empty");
    line(cid);
    return kOk;
  });
}

void addExec(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "exec",
      "sh -c CMD; its stdout as the library captures it (a NUL drops the rest of its 127-byte "
      "piece); CMD's status (128+N if signal N killed it), " +
          std::to_string(kCouldNotRun) + " if it could not run");
  std::string& command = t.keep<std::string>();
  c->add_option("CMD", command, "shell command line")->required();
  t.action(c, [&command] {
    std::string output;
    int status = 0;
    // sh -c takes a command line that begins with '-' or '+' for options of its own; a blank
    // in front keeps it a command and changes nothing else.
    const int reason = GeneralUtils::execCommandReport((' ' + command).c_str(), output, status);
    out(output);
    if (reason == 0) return status;
    fail("exec", command, std::strerror(reason));
    return kCouldNotRun;
  });
}

void addReadline(Tool& t) {
  CLI::App* c = t.app.add_subcommand(
      "readline",
      "One line of stdin and a LF, no byte more read; at most N-1 bytes, the rest (even a "
      "lone LF) stays; 1 at end of input");
  int& limit = t.keep<int>(kReadlineDefault);
  c->add_option("N", limit, "buffer size, terminating NUL included")
      ->check(CLI::Range(1, kReadlineMost))
      ->capture_default_str();
  t.action(c, [&limit] {
    workingOn("-");
    return readlineCommand(limit);
  });
}

}  // namespace

void addSystemCommands(Tool& t) {
  addMachine(t);
  addCid(t);
  addExec(t);
  addReadline(t);
}

}  // namespace gutool
