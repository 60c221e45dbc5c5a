// generalutils: the library's functions from a shell, for scripts and for checking a machine.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "commands.h"

namespace gutool {
namespace {

// What a failure that no subcommand handles is told about, in storage that needs no
// allocation, since running out of memory is the usual such failure.
struct Running {
  char command[32] = "";
  char operand[4096] = "-";
  int trouble = kFailed;
} running;

// Copies text into a fixed buffer, cut to fit, with line breaks as blanks, as in complain().
template <std::size_t kSize>
void copyName(char (&to)[kSize], const char* text) {
  std::size_t i = 0;
  for (; text[i] != '\0' && i + 1 < kSize; ++i) {
    to[i] = text[i] == '\n' || text[i] == '\r' ? ' ' : text[i];
  }
  to[i] = '\0';
}

// Until a subcommand names what it works on, its first argument that is not an option stands
// for it, so that a failure while the command line is parsed is told the same way.
void runningFrom(int argc, char** argv) {
  if (argc < 2 || argv[1][0] == '-') return;
  copyName(running.command, argv[1]);
  for (const auto& trouble : kTroubles) {
    if (std::strcmp(trouble.subcommand, argv[1]) == 0) running.trouble = trouble.status;
  }
  for (int i = 2; i < argc; ++i) {
    if (argv[i][0] != '-') {
      workingOn(argv[i]);
      break;
    }
  }
}

// "generalutils: <subcommand>: '<operand>': <reason>" and the subcommand's trouble status. It
// builds no string, so it works when memory has run out.
int lastResort(const char* reason) {
  if (running.command[0] == '\0') {
    std::fprintf(stderr, "generalutils: %s\n", reason);
    return kFailed;
  }
  std::fprintf(stderr, "generalutils: %s: '%s': %s\n", running.command, running.operand, reason);
  return running.trouble;
}

}  // namespace

void workingOn(const char* operand) { copyName(running.operand, operand); }

void out(const std::string& bytes) {
  if (!std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    throw OutputFailed(errno);
  }
}

void line(const std::string& bytes) {
  out(bytes);
  if (!std::cout.put('\n')) throw OutputFailed(errno);
}

void complain(std::string message) {
  // Messages quote arguments, and an argument may hold line breaks of its own.
  std::replace(message.begin(), message.end(), '\n', ' ');
  std::replace(message.begin(), message.end(), '\r', ' ');
  std::cerr << "generalutils: " << message << '\n';
}

int fail(const std::string& command, const std::string& file, const std::string& reason) {
  complain(command + ": '" + file + "': " + reason);
  return kFailed;
}

std::string hex4(unsigned short value) {
  return GeneralUtils::sprintfString("%04X", static_cast<unsigned>(value));
}

ssize_t readSome(int fd, void* buffer, std::size_t size) {
  ssize_t n;
  do n = ::read(fd, buffer, size);
  while (n < 0 && errno == EINTR);
  return n;
}

std::string readBlockText() { return std::to_string(kReadBlock / 1024) + " KiB"; }

FdGuard::~FdGuard() {
  if (fd_ >= 0) ::close(fd_);
}

namespace {

// The rules every subcommand keeps; --help ends with them, and so does the manual page.
const char kFooter[] =
    "Exit status:\n"
    "  0  success or true\n"
    "  1  false, or a failure, which says why in one line on standard error:\n"
    "     generalutils: SUBCOMMAND: 'FILE': Reason\n"
    "  2  a usage error; for cmp, a file that could not be read (as cmp -s)\n"
    "\n"
    "A text that begins with '-' goes behind '--':\n"
    "  generalutils hash8 -- -abc";

// Lists each subcommand with its arguments ("split [-0] SEP TEXT"), so that --help, and the
// manual page made from it, show how each one is called. Several options show as [OPTIONS],
// which the subcommand's own --help lists, so that the call keeps its description beside it.
class Formatter : public CLI::Formatter {
 public:
  std::string make_subcommand(const CLI::App* sub) const override {
    const auto isOption = [sub](const CLI::Option* o) {
      return o != sub->get_help_ptr() && !o->get_positional();
    };
    const bool several = sub->get_options(isOption).size() > 1;
    std::string call = sub->get_name() + (several ? " [OPTIONS]" : "");
    for (const CLI::Option* o : sub->get_options()) {
      if (o == sub->get_help_ptr() || (several && isOption(o))) continue;
      std::string name = o->get_snames().empty() ? o->get_name() : '-' + o->get_snames().front();
      if (o->get_items_expected_max() > 1) name += "...";
      call += ' ' + (o->get_required() ? name : '[' + name + ']');
    }
    std::ostringstream text;
    CLI::detail::format_help(text, call, sub->get_description(), get_column_width());
    return text.str();
  }
};

// The message for an option the parser doesn't know: a text beginning with '-' that was meant
// as a text gets the hint to put it behind "--".
std::string unknownOptionMessage(const CLI::App* command, const std::string& arg) {
  const std::string unknown = "unknown option '" + arg + "'; ";
  if (command == nullptr) return unknown + "see 'generalutils --help'";
  const bool takesText =
      !command->get_options([](const CLI::Option* o) { return o->get_positional(); }).empty();
  return command->get_name() + ": " + unknown +
         (takesText ? "put a text that begins with '-' behind '--'"
                    : "see 'generalutils " + command->get_name() + " --help'");
}

// The message for a command line that doesn't parse. The two common slips, a misspelt
// subcommand and a text beginning with '-' that reads as an option, get a plain message;
// anything else keeps the parser's own words, behind the subcommand's name.
std::string usageMessage(CLI::App& app, const std::vector<std::string>& args,
                         const std::string& parserMessage) {
  CLI::App* command = nullptr;
  for (const std::string& arg : args) {
    if (arg == "--") break;
    if (arg.size() > 1 && arg[0] == '-') {
      CLI::App& owner = command != nullptr ? *command : app;
      if (owner.get_option_no_throw(arg.substr(0, arg.find('='))) != nullptr) continue;
      return unknownOptionMessage(command, arg);
    }
    if (command != nullptr) continue;
    const auto named = app.get_subcommands([&arg](CLI::App* c) { return c->check_name(arg); });
    if (named.empty()) return "'" + arg + "' is not a subcommand; see 'generalutils --help'";
    command = named.front();
  }
  return (command != nullptr ? command->get_name() + ": " : std::string()) + parserMessage;
}

int runTool(int argc, char** argv) {
  Tool t;
  t.app.set_version_flag("--version", std::string("generalutils ") + GENERALUTILS_VERSION);
  t.app.require_subcommand(0, 1);
  t.app.formatter(std::make_shared<Formatter>());
  t.app.footer(kFooter);
  addTextCommands(t);
  addCrcCommands(t);
  addFileCommands(t);
  addSystemCommands(t);
  try {
    t.app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // Help and version requests arrive as "errors" with status 0.
    if (e.get_exit_code() == 0) return t.app.exit(e);
    complain(usageMessage(t.app, std::vector<std::string>(argv + 1, argv + argc), e.what()));
    return kTrouble;
  }
  if (t.app.get_subcommands().empty()) {
    std::cerr << t.app.help();
    return kTrouble;
  }
  // A full disk or a closed pipe on standard output is a failure, not a quiet success.
  if (!std::cout.flush()) throw OutputFailed(errno);
  return t.status;
}

}  // namespace
}  // namespace gutool

int main(int argc, char** argv) {
  gutool::runningFrom(argc, argv);
  try {
    return gutool::runTool(argc, argv);
  } catch (const gutool::OutputFailed& e) {
    gutool::workingOn("standard output");
    return gutool::lastResort(e.what());
  } catch (const std::bad_alloc&) {
    return gutool::lastResort(std::strerror(ENOMEM));
  } catch (const std::exception& e) {
    return gutool::lastResort(e.what());
  }
}
