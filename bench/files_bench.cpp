// CompareFiles and copyFileWr on 64 MiB files in the page cache. CompareFiles runs beside the
// plainest loop that does its job in-process (64 KiB reads of both files and memcmp) and
// beside `cmp -s`; copyFileWr beside `cp`. The child processes run from posix_spawnp. All are
// timed by the wall clock, which is the only clock that sees a child's work.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "GeneralUtils.h"
#include "bench_util.h"

namespace {

const uint64_t kSize = 64ull << 20;

// Made on first use, so a filter that skips this family writes nothing; removed at exit.
struct Files {
  gubench::ScratchFile a{"a", kSize, 7};
  gubench::ScratchFile b{"b", kSize, 7};
  gubench::ScratchFile longer{"longer", kSize + 1};  // sparse: costs no writing
  std::string copy = gubench::scratchPath("copy");
  ~Files() { std::remove(copy.c_str()); }
  bool ok() const { return a.ok() && b.ok() && longer.ok(); }
};

const Files& files() {
  static const Files f;
  return f;
}

// Up to len bytes, fewer only at the end of the file: the count, or -1.
ssize_t readFull(int fd, char* buf, size_t len) {
  size_t done = 0;
  while (done < len) {
    const ssize_t n = ::read(fd, buf + done, len - done);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      return -1;
    }
    done += static_cast<size_t>(n);
  }
  return static_cast<ssize_t>(done);
}

// Open both, read 64 KiB of each in turn to the end, compare, close: no size check first.
bool readAndMemcmp(const std::string& path1, const std::string& path2) {
  const size_t kBlock = 64 * 1024;
  const int fd1 = ::open(path1.c_str(), O_RDONLY | O_CLOEXEC);
  const int fd2 = ::open(path2.c_str(), O_RDONLY | O_CLOEXEC);
  std::vector<char> blocks(2 * kBlock);
  char* const block1 = blocks.data();
  char* const block2 = blocks.data() + kBlock;
  bool same = fd1 >= 0 && fd2 >= 0;
  while (same) {
    const ssize_t got1 = readFull(fd1, block1, kBlock);
    const ssize_t got2 = readFull(fd2, block2, kBlock);
    same = got1 >= 0 && got1 == got2 && std::memcmp(block1, block2, static_cast<size_t>(got1)) == 0;
    if (got1 == 0) break;
  }
  if (fd1 >= 0) ::close(fd1);
  if (fd2 >= 0) ::close(fd2);
  return same;
}

template <typename F>
void runWhole(benchmark::State& state, uint64_t bytes, F f) {
  if (!files().ok()) return state.SkipWithError("cannot write the files under GU_BENCH_DIR");
  for ([[maybe_unused]] auto _ : state) {
    if (!f()) return state.SkipWithError("wrong result");
  }
  if (bytes != 0) state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}

void BM_CompareLibrary(benchmark::State& state) {
  runWhole(state, kSize,
           [] { return GeneralUtils::CompareFiles(files().a.path(), files().b.path()); });
}

void BM_CompareReadMemcmp(benchmark::State& state) {
  runWhole(state, kSize, [] { return readAndMemcmp(files().a.path(), files().b.path()); });
}

void BM_CompareCmp(benchmark::State& state) {
  runWhole(state, kSize, [] {
    return gubench::spawnAndWait({"cmp", "-s", files().a.path(), files().b.path()}) == 0;
  });
}

void BM_CompareDifferentSize(benchmark::State& state) {
  runWhole(state, 0,
           [] { return !GeneralUtils::CompareFiles(files().a.path(), files().longer.path()); });
}

void BM_CopyLibrary(benchmark::State& state) {
  runWhole(state, kSize, [] {
    GeneralUtils::copyFileWr(files().a.path(), files().copy);
    return GeneralUtils::FileSize(files().copy) == static_cast<std::streamoff>(kSize);
  });
}

void BM_CopyCp(benchmark::State& state) {
  runWhole(state, kSize, [] {
    return gubench::spawnAndWait({"cp", files().a.path(), files().copy}) == 0;
  });
}

}  // namespace

BENCHMARK(BM_CompareLibrary)
    ->Name("CompareFiles_64MiB/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompareReadMemcmp)
    ->Name("CompareFiles_64MiB/read_memcmp_baseline")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompareCmp)
    ->Name("CompareFiles_64MiB/cmp_baseline")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CompareDifferentSize)->Name("CompareFiles_different_size/library")->UseRealTime();
BENCHMARK(BM_CopyLibrary)
    ->Name("copyFileWr_64MiB/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyCp)
    ->Name("copyFileWr_64MiB/cp_baseline")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
