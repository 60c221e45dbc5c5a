// The generalutils tool's shared frame: the parsed arguments, exit statuses and output helpers.
#ifndef GENERALUTILS_TOOLS_COMMANDS_H
#define GENERALUTILS_TOOLS_COMMANDS_H

#include <sys/types.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace gutool {

// Exit statuses. False and failed share 1, as in test(1) and cmp(1); 2 is a usage error, and
// for cmp, as in cmp(1), a file that could not be compared.
constexpr int kOk = 0;
constexpr int kFalse = 1;
constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kTrouble = 2;

// Standard input and files are read in blocks of this size, whatever their length.
constexpr std::size_t kBlockBytes = std::size_t{64} * 1024;

// Values from the command line. Only one subcommand parses per run, so they share one store.
struct Args {
  std::string text, token, mode, path, other;
  std::vector<std::string> files;
  bool json = false;
  bool nul = false;
  int limit = 4096;
};

struct Tool {
  CLI::App app{"String, hash, host, file and process helpers of GeneralUtils", "generalutils"};
  Args args;
  int status = kOk;

  // Runs action once the whole command line has parsed; its result is the exit status.
  void action(CLI::App* command, std::function<int()> run) {
    command->callback([this, run = std::move(run)] { status = run(); });
  }
};

// Bytes go out exactly as given: no locale, no conversion. line() adds a '\n'.
void out(const std::string& bytes);
void line(const std::string& bytes);
// "generalutils: <message>" on standard error, always as one line.
void complain(std::string message);
// "generalutils: <command>: '<file>': <reason>" on standard error; gives kFailed.
int fail(const std::string& command, const std::string& file, const std::string& reason);
// Four upper-case hex digits, the way the library prints its 16-bit hashes.
std::string hex4(unsigned short value);
// Names the operand the subcommand is working on, for the message of a failure that no
// subcommand handles (out of memory): "generalutils: cmp: 'a': Cannot allocate memory". It is
// copied into fixed storage, since that message has to get out when memory has run out.
void workingOn(const char* operand);
// read(2), resumed after a signal: the bytes read, 0 at the end, -1 with errno set.
ssize_t readSome(int fd, void* buffer, std::size_t size);

void addTextCommands(Tool& t);
void addFileCommands(Tool& t);
void addSystemCommands(Tool& t);

}  // namespace gutool

#endif  // GENERALUTILS_TOOLS_COMMANDS_H
