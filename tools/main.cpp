// generalutils: the library's functions from a shell, for scripts and for checking a machine.
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {

void out(const std::string& bytes) {
  std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void line(const std::string& bytes) {
  out(bytes);
  std::cout.put('\n');
}

void complain(std::string message) {
  // Messages quote arguments, and an argument may hold line breaks of its own.
  std::replace(message.begin(), message.end(), '\n', ' ');
  std::replace(message.begin(), message.end(), '\r', ' ');
  std::cerr << "generalutils: " << message << '\n';
}

std::string hex4(unsigned short value) {
  return GeneralUtils::sprintfString("%04X", static_cast<unsigned>(value));
}

namespace {

int runTool(int argc, char** argv) {
  Tool t;
  t.app.set_version_flag("--version", GENERALUTILS_VERSION);
  t.app.require_subcommand(0, 1);
  addTextCommands(t);
  addFileCommands(t);
  addSystemCommands(t);
  try {
    t.app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // Help and version requests arrive as "errors" with status 0.
    if (e.get_exit_code() == 0) return t.app.exit(e);
    complain(e.what());
    return kUsage;
  }
  if (t.app.get_subcommands().empty()) {
    std::cerr << t.app.help();
    return kUsage;
  }
  // A full disk or a closed pipe on standard output is a failure, not a quiet success.
  if (!std::cout.flush()) {
    complain("cannot write to standard output");
    return kFailed;
  }
  return t.status;
}

}  // namespace
}  // namespace gutool

int main(int argc, char** argv) {
  try {
    return gutool::runTool(argc, argv);
  } catch (const std::exception& e) {
    gutool::complain(e.what());
    return gutool::kFailed;
  }
}
