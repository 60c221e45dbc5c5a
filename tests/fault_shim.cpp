// Loaded with LD_PRELOAD by fault_test: fails one libc call of a program, or counts them all.
// It arms when main() starts, so the loader's and the static initialisers' calls don't count.
//   GU_FAULT=FUNCTION:N:ERROR  the Nth call of FUNCTION fails with ERROR, an errno name such
//                              as EIO, or "short": read or write moves at most 7 bytes
//   GU_FAULT_COUNT=FILE        when main returns, "FUNCTION CALLS" a line into FILE
// When main returns, a descriptor that was not open as it started, or a child not waited for,
// is reported on standard error and makes the exit status 99. The shim leaves no trace in the
// environment, so the commands the program starts run undisturbed.
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string_view>

extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);

namespace {

constexpr const char* kFunctions[] = {
    "open",          "read",  "write",  "close",    "fstat",   "lseek",  "ftruncate", "fcntl",
    "socket",        "ioctl", "uname",  "readlink", "stat",    "access", "popen",     "pclose",
    "posix_fadvise", "getc",  "malloc", "calloc",   "realloc", "pread",  "pwrite"};
constexpr int kCount = std::size(kFunctions), kShort = -1, kFds = 1024;

bool armed = false, openAtStart[kFds];
unsigned long calls[kCount], targetCall;
int target = -1, targetError;

constexpr int slot(std::string_view name, int i = 0) {
  return i == kCount || kFunctions[i] == name ? i : slot(name, i + 1);
}

// 0: this call of the function runs as usual; else the errno to fail it with, or kShort.
template <int function>
int fault() {
  return armed && ++calls[function] == targetCall && function == target ? targetError : 0;
}

size_t shorter(size_t n) { return n > 1 ? std::min<size_t>(n / 2, 7) : n; }

int complain(const char* what, int fd = -1) {
  fprintf(stderr, "fault shim: %s %d\n", what, fd);
  return 99;
}

using Main = int (*)(int, char**, char**);
Main programMain;

int armedMain(int argc, char** argv, char** env) {
  char name[32] = "", error[32] = "";
  if (const char* plan = getenv("GU_FAULT")) {
    if (sscanf(plan, "%31[^:]:%lu:%31s", name, &targetCall, error) != 3) abort();
    target = slot(name);
    targetError = strcmp(error, "short") == 0 ? kShort : 0;
    for (int e = 1; e < 134 && targetError == 0; ++e)
      if (strerrorname_np(e) != nullptr && strcmp(strerrorname_np(e), error) == 0) targetError = e;
    if (target == kCount || targetError == 0) abort();
  }
  unsetenv("GU_FAULT"), unsetenv("LD_PRELOAD");
  for (int fd = 0; fd < kFds; ++fd) openAtStart[fd] = fcntl(fd, F_GETFD) >= 0;
  armed = true;
  int status = programMain(argc, argv, env);
  armed = false;
  if (const char* path = getenv("GU_FAULT_COUNT")) {
    FILE* f = fopen(path, "we");
    for (int i = 0; i < kCount; ++i)
      if (calls[i] > 0) fprintf(f, "%s %lu\n", kFunctions[i], calls[i]);
    fclose(f);
  }
  for (int fd = 0; fd < kFds; ++fd)
    if (!openAtStart[fd] && fcntl(fd, F_GETFD) >= 0) status = complain("left open descriptor", fd);
  const pid_t child = waitpid(-1, nullptr, WNOHANG);
  if (child != -1 || errno != ECHILD) status = complain("left a child behind:", child);
  return status;
}

}  // namespace

extern "C" {

int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*rtldFini)(), void* stackEnd) {
  programMain = main;
  using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);
  return reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"))(armedMain, argc, argv, init,
                                                                        fini, rtldFini, stackEnd);
}

// `name` runs as usual, or, on the call to fail, gives `failed`, an expression in `error`,
// the injected error, and `next`, the libc function behind this one. The variadic ones take
// their last argument as the machine passed it (a mode, an int or a pointer) and pass it on.
#define FAIL(value) (errno = error, value)
#define PROLOGUE(name)                                                                   \
  static const auto next = reinterpret_cast<decltype(&::name)>(dlsym(RTLD_NEXT, #name)); \
  const int error = fault<slot(#name)>()
#define INTERPOSE(type, name, params, args, failed) \
  type name params {                                \
    PROLOGUE(name);                                 \
    return error == 0 ? next args : failed;         \
  }
#define INTERPOSE_VARIADIC(name, params, last, args, failed) \
  int name params {                                          \
    va_list ap;                                              \
    va_start(ap, last);                                      \
    void* const arg = va_arg(ap, void*);                     \
    va_end(ap);                                              \
    PROLOGUE(name);                                          \
    return error == 0 ? next args : failed;                  \
  }

// clang-format off
INTERPOSE_VARIADIC(open, (const char* path, int flags, ...), flags, (path, flags, arg), FAIL(-1))
INTERPOSE_VARIADIC(fcntl, (int fd, int command, ...), command, (fd, command, arg), FAIL(-1))
INTERPOSE_VARIADIC(ioctl, (int fd, unsigned long request, ...), request, (fd, request, arg), FAIL(-1))
INTERPOSE(int, fstat, (int fd, struct stat* st), (fd, st), FAIL(-1))
INTERPOSE(int, stat, (const char* path, struct stat* st), (path, st), FAIL(-1))
INTERPOSE(off_t, lseek, (int fd, off_t offset, int whence), (fd, offset, whence), FAIL(-1))
INTERPOSE(int, ftruncate, (int fd, off_t length), (fd, length), FAIL(-1))
INTERPOSE(int, socket, (int domain, int type, int protocol), (domain, type, protocol), FAIL(-1))
INTERPOSE(int, uname, (struct utsname* u), (u), FAIL(-1))
INTERPOSE(ssize_t, readlink, (const char* path, char* buf, size_t n), (path, buf, n), FAIL(-1))
INTERPOSE(int, access, (const char* path, int mode), (path, mode), FAIL(-1))
INTERPOSE(FILE*, popen, (const char* command, const char* mode), (command, mode), FAIL(nullptr))
INTERPOSE(int, posix_fadvise, (int fd, off_t at, off_t n, int advice), (fd, at, n, advice), error)
// A short transfer succeeds with at most 7 bytes, a block boundary where no other run has one.
INTERPOSE(ssize_t, read, (int fd, void* buf, size_t n), (fd, buf, n),
          error == kShort ? next(fd, buf, shorter(n)) : FAIL(-1))
INTERPOSE(ssize_t, write, (int fd, const void* buf, size_t n), (fd, buf, n),
          error == kShort ? next(fd, buf, shorter(n)) : FAIL(-1))
INTERPOSE(ssize_t, pread, (int fd, void* buf, size_t n, off_t at), (fd, buf, n, at),
          error == kShort ? next(fd, buf, shorter(n), at) : FAIL(-1))
INTERPOSE(ssize_t, pwrite, (int fd, const void* buf, size_t n, off_t at), (fd, buf, n, at),
          error == kShort ? next(fd, buf, shorter(n), at) : FAIL(-1))
// Linux releases the descriptor even when close reports an error; pclose still waits.
INTERPOSE(int, close, (int fd), (fd), (next(fd), FAIL(-1)))
INTERPOSE(int, pclose, (FILE* stream), (stream), (next(stream), FAIL(-1)))
// stdio marks a stream whose read failed, and keeps what it had buffered.
INTERPOSE(int, getc, (FILE* stream), (stream), (stream->_flags |= _IO_ERR_SEEN, FAIL(EOF)))
// clang-format on

// libc's own allocator, since dlsym allocates; operator new throws std::bad_alloc on null.
#define ALLOCATOR(name, params, args)                       \
  void* name params {                                       \
    const int error = fault<slot(#name)>() ? ENOMEM : 0;    \
    return error == 0 ? __libc_##name args : FAIL(nullptr); \
  }
ALLOCATOR(malloc, (size_t n), (n))
ALLOCATOR(calloc, (size_t count, size_t n), (count, n))
ALLOCATOR(realloc, (void* p, size_t n), (p, n))

}  // extern "C"
