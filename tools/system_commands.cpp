// Subcommands on the machine and the process: fingerprint and its parts, CID, commands, console.
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

// The library keeps its processor hash to itself, so the tool repeats that one step:
// leaf 0, subleaf 0, the four registers in the order EAX, EBX, ECX, EDX.
unsigned short cpuHash() {
  unsigned int regs[4] = {0, 0, 0, 0};
#if defined(__x86_64__) || defined(__i386__)
  __cpuid_count(0, 0, regs[0], regs[1], regs[2], regs[3]);
#endif
  return GeneralUtils::getStrHash<unsigned int>(regs, 4);
}

int infoCommand(bool json) {
  using namespace GeneralUtils;
  const unsigned mac = getMacHash(), cpu = cpuHash(), details = getMachineDetailsHash();
  const std::string node = getHostName();
  const std::vector<std::pair<std::string, std::string>> fields = {
      {"os", GetOS_Name()},
      {"node_name", node},
      {"machine_details_hash", hex4(static_cast<unsigned short>(details))},
      {"mac_hash", hex4(static_cast<unsigned short>(mac))},
      {"cpu_hash", hex4(static_cast<unsigned short>(cpu))},
      {"fingerprint_input", sprintfString("%04X%s%04X%04X", mac, node.c_str(), cpu, details)},
      {"fingerprint", GetSystemFingerprint()},
      {"exe_dir", GetExeDir()},
      {"temp_folder", GetTempFolder()},
      {"cid_file", getCidFilePath()},
      {"cid", GetCidFromFile("")},
  };
  if (json) {
    nlohmann::ordered_json doc = nlohmann::ordered_json::object();
    for (const auto& field : fields) doc[field.first] = field.second;
    // Node names and CIDs are bytes, not UTF-8: a bad sequence becomes U+FFFD, not an error.
    line(doc.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    return kOk;
  }
  std::size_t width = 0;
  for (const auto& field : fields) width = std::max(width, field.first.size());
  for (const auto& field : fields) {
    std::string label = field.first + ':';
    std::replace(label.begin(), label.end(), '_', ' ');
    label.resize(width + 2, ' ');
    line(label + field.second);
  }
  return kOk;
}

}  // namespace

void addSystemCommands(Tool& t) {
  Args& a = t.args;

  CLI::App* c = t.app.add_subcommand("fingerprint", "This machine's fingerprint, as cached");
  t.action(c, [] {
    line(GeneralUtils::GetSystemFingerprintCStr());
    return kOk;
  });

  c = t.app.add_subcommand("info", "Every part of the fingerprint, the paths and the CID");
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

  c = t.app.add_subcommand("cid", "The CID: first line of DIR/.did, or of .did beside the tool");
  c->add_option("DIR", a.path, "installation directory; absent: the tool's own directory");
  t.action(c, [&a] {
    const std::string cid = GeneralUtils::GetCidFromFile(a.path);
    if (cid.empty()) {
      complain("cid: no CID in " +
               (a.path.empty() ? GeneralUtils::getCidFilePath() : a.path + "/.did"));
      return kFailed;
    }
    line(cid);
    return kOk;
  });

  c = t.app.add_subcommand("exec", "Run CMD with sh -c; print its standard output as it came");
  c->add_option("CMD", a.text, "shell command line")->required();
  t.action(c, [&a] {
    out(GeneralUtils::execCommandAndSaveOutput(a.text.c_str()));
    return kOk;
  });

  c = t.app.add_subcommand("readline", "One line of standard input, at most N-1 bytes");
  c->add_option("N", a.limit, "buffer size, terminating NUL included")
      ->check(CLI::Range(1, 1048576))
      ->capture_default_str();
  t.action(c, [&a] {
    line(GeneralUtils::readLineToStdString(a.limit));
    return kOk;
  });
}

}  // namespace gutool
