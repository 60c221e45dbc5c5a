// Shared by the benchmarks that need big files or child processes.
#ifndef GENERALUTILS_BENCH_UTIL_H
#define GENERALUTILS_BENCH_UTIL_H

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern char** environ;

namespace gubench {

// Where the big files go: a disk-backed directory, so that they sit in the page cache the way
// callers' files do. GU_BENCH_DIR moves them elsewhere.
inline std::string scratchDir() {
  const char* dir = std::getenv("GU_BENCH_DIR");
  return dir != nullptr ? dir : "/var/tmp";
}

// A path in scratchDir() that no other process running these benchmarks uses.
inline std::string scratchPath(const std::string& name) {
  return scratchDir() + "/gu_bench_" + std::to_string(::getpid()) + "_" + name;
}

// A file made once per process and removed when the process exits normally.
class ScratchFile {
 public:
  // Writes `size` bytes; every byte follows from its offset and the seed, so two files of one
  // seed are equal. With lines = true the bytes are 80-byte lines of printable text.
  ScratchFile(const std::string& name, uint64_t size, uint32_t seed, bool lines = false)
      : path_(scratchPath(name)) {
    FILE* f = std::fopen(path_.c_str(), "wb");
    if (f == nullptr) return;
    std::vector<char> chunk(1 << 20);
    uint32_t x = seed | 1u;
    for (uint64_t done = 0; done < size;) {
      for (size_t i = 0; i < chunk.size(); ++i) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;  // xorshift32
        chunk[i] = lines ? ((done + i) % 80 == 79 ? '\n' : static_cast<char>('!' + x % 94))
                         : static_cast<char>(x);
      }
      const size_t n = static_cast<size_t>(std::min<uint64_t>(chunk.size(), size - done));
      if (std::fwrite(chunk.data(), 1, n, f) != n) break;
      done += n;
    }
    ok_ = std::fclose(f) == 0;
  }
  // A file of `size` bytes that reads as zeros and costs no writing.
  ScratchFile(const std::string& name, uint64_t size) : path_(scratchPath(name)) {
    const int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) return;
    ok_ = ::ftruncate(fd, static_cast<off_t>(size)) == 0;
    ::close(fd);
  }
  ~ScratchFile() { std::remove(path_.c_str()); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const std::string& path() const { return path_; }
  bool ok() const { return ok_; }

 private:
  std::string path_;
  bool ok_ = false;
};

// Runs argv[0] from PATH and waits for it: the exit status, or -1 if it could not start.
inline int spawnAndWait(std::vector<std::string> args) {
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(&a[0]);
  argv.push_back(nullptr);
  pid_t pid;
  if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) return -1;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace gubench

#endif  // GENERALUTILS_BENCH_UTIL_H
