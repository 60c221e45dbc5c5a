// The generalutils tool's shared frame: exit statuses, the subcommand registry and output helpers.
#ifndef GENERALUTILS_TOOLS_COMMANDS_H
#define GENERALUTILS_TOOLS_COMMANDS_H

#include <sys/types.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tool_limits.h"

namespace gutool {

// Exit statuses, as test(1) and cmp(1) give them.
constexpr int kOk = 0;       // success, or the answer true
constexpr int kFailed = 1;   // the answer false, or a failure said on standard error
constexpr int kTrouble = 2;  // a command line that doesn't parse; for cmp, an unreadable file
// exec passes its command's status on; this one is the tool's own, for a command it could not
// run, out of the shell's range for a command's (126, 127).
constexpr int kCouldNotRun = 125;

struct Tool {
  CLI::App app{"String, hash, host, file and process helpers of GeneralUtils", "generalutils"};
  int status = kOk;

  // Storage for one subcommand's arguments, which the parser fills in, for as long as the
  // tool runs; made from `init`, the defaults.
  template <typename Args, typename... Init>
  Args& keep(Init&&... init) {
    auto args = std::make_shared<Args>(std::forward<Init>(init)...);
    kept_.push_back(args);
    return *args;
  }

  // Runs `run` once the whole command line has parsed; its result is the exit status.
  void action(CLI::App* command, std::function<int()> run) {
    command->callback([this, run = std::move(run)] { status = run(); });
  }

 private:
  std::vector<std::shared_ptr<void>> kept_;
};

// A failure a subcommand does not handle itself (memory running out, standard output that
// takes no more) ends the tool with that subcommand's trouble status: cmp's, as cmp -s gives
// it; exec's own, beside its command's; kFailed for the rest.
constexpr struct {
  const char* subcommand;
  int status;
} kTroubles[] = {{"cmp", kTrouble}, {"exec", kCouldNotRun}};

// What out() and line() throw when standard output takes no more (a full disk): the subcommand
// stops there, and the tool ends with its trouble status.
struct OutputFailed : std::runtime_error {
  explicit OutputFailed(int error) : std::runtime_error(std::strerror(error)) {}
};

// Bytes go out exactly as given: no locale, no conversion. line() adds a '\n'. Both throw
// OutputFailed when standard output takes no more.
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
// "64 KiB": kReadBlock as the help text states it.
std::string readBlockText();

// Closes a descriptor it owns on every path; a negative one is no descriptor. close() is never
// retried: the descriptor is gone even when it reports EINTR.
class FdGuard {
 public:
  explicit FdGuard(int fd) : fd_(fd) {}
  FdGuard(const FdGuard&) = delete;
  FdGuard& operator=(const FdGuard&) = delete;
  ~FdGuard();

 private:
  int fd_;
};

void addTextCommands(Tool& t);
void addCrcCommands(Tool& t);
void addFileCommands(Tool& t);
void addSystemCommands(Tool& t);

}  // namespace gutool

#endif  // GENERALUTILS_TOOLS_COMMANDS_H
