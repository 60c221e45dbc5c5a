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

int infoCommand(bool json) {
  using namespace GeneralUtils;
  // Every part is cut from the text the fingerprint is the CRC of, so the parts shown are the
  // ones hashed: "<mac hash><node name><cpu hash><node-name hash>", the hashes 4 digits each.
  const std::string input = getSystemFingerprintText();
  const std::size_t nodeLength = input.size() - 12;
  const std::vector<std::pair<std::string, std::string>> fields = {
      {"os", GetOS_Name()},
      {"node_name", input.substr(4, nodeLength)},
      {"machine_details_hash", input.substr(input.size() - 4)},
      {"mac_hash", input.substr(0, 4)},
      {"cpu_hash", input.substr(input.size() - 8, 4)},
      {"fingerprint_input", input},
      {"fingerprint", GetSystemFingerprint()},
      {"exe_dir", GetExeDir()},
      {"temp_folder", GetTempFolder()},
      {"cid_file", getCidFilePath()},
      {"cid", GetCidFromFile("")},
  };
  const std::vector<MacInterface> interfaces = getMacInterfaces();
  if (json) {
    Json doc = Json::object();
    for (const auto& field : fields) doc[field.first] = field.second;
    doc["interfaces"] = Json::array();
    for (const MacInterface& i : interfaces) {
      doc["interfaces"].push_back({{"name", i.name},
                                   {"address", i.hasAddress ? Json(hardwareAddress(i)) : Json()},
                                   {"hash", hex4(i.hash)},
                                   {"counted", i.counted}});
    }
    // Node names and CIDs are bytes, not UTF-8: a bad sequence becomes U+FFFD, not an error.
    line(doc.dump(2, ' ', false, Json::error_handler_t::replace));
    return kOk;
  }
  std::vector<std::pair<std::string, std::string>> rows = fields;
  for (const MacInterface& i : interfaces) {
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
  return kOk;
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
    if (n == 0 && text.empty()) return kFalse;
    if (n == 0 || ch == '\n') break;
    text += ch;
  }
  line(text);
  return kOk;
}

}  // namespace

void addSystemCommands(Tool& t) {
  Args& a = t.args;

  CLI::App* c =
      t.app.add_subcommand("fingerprint", "This machine's fingerprint (computed once per process)");
  t.action(c, [] {
    line(GeneralUtils::GetSystemFingerprintCStr());
    return kOk;
  });

  c = t.app.add_subcommand(
      "info",
      "OS, fingerprint, its parts and input text, paths, CID, IPv4 interfaces in kernel order");
  c->add_flag("--json", a.json, "one JSON object instead of aligned lines");
  t.action(c, [&a] { return infoCommand(a.json); });

  c = t.app.add_subcommand("exedir", "Directory of the generalutils executable");
  t.action(c, [] {
    line(GeneralUtils::GetExeDir());
    return kOk;
  });

  c = t.app.add_subcommand("tmpdir", "The library's temp folder");
  t.action(c, [] {
    line(GeneralUtils::GetTempFolder());
    return kOk;
  });

  c = t.app.add_subcommand(
      "cid",
      "First line of DIR/.did, or of .did beside the tool; 1 if unreadable or the line is empty");
  c->add_option("DIR", a.path, "installation directory; absent: the tool's own directory");
  t.action(c, [&a] {
    workingOn(a.path.empty() ? GeneralUtils::getCidFilePath().c_str() : a.path.c_str());
    std::string cid, didPath;
    const int reason = GeneralUtils::cidFromFileReport(a.path, cid, didPath);
    if (reason != 0) return fail("cid", didPath, GeneralUtils::fileErrorText(reason));
    if (cid.empty()) return fail("cid", didPath, "First line is empty");
    line(cid);
    return kOk;
  });

  c = t.app.add_subcommand("exec",
                           "sh -c CMD; its stdout as the library captures it (a NUL drops the "
                           "rest of its 127-byte piece); status 0, not CMD's");
  c->add_option("CMD", a.text, "shell command line")->required();
  t.action(c, [&a] {
    // sh -c takes a command line that begins with '-' or '+' for options of its own; a blank
    // in front keeps it a command and changes nothing else.
    out(GeneralUtils::execCommandAndSaveOutput((' ' + a.text).c_str()));
    return kOk;
  });

  c = t.app.add_subcommand(
      "readline",
      "One line of stdin and a LF, no byte more read; at most N-1 bytes, the rest (even a "
      "lone LF) stays; 1 at end of input");
  c->add_option("N", a.limit, "buffer size, terminating NUL included")
      ->check(CLI::Range(1, 1048576))
      ->capture_default_str();
  t.action(c, [&a] {
    workingOn("-");
    return readlineCommand(a.limit);
  });
}

}  // namespace gutool
