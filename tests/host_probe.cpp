// Reports what this process sees of its host, for host_test, paths_test and cid_test. Run
// under unshare, it sees the interfaces, node name and mounts that its caller set up.
//   host_probe                  mac=, host=, details= and fingerprint=, on one line
//   host_probe --race           eight threads collide on the first calls of getHostName and
//                               GetSystemFingerprintCStr (only a fresh process has first
//                               calls); each prints "<fingerprint at> <text> <host at> <text>"
//   host_probe --exe [DIR]      GetExeDir, getCidFilePath and GetCidFromFile(DIR or ""), each
//                               on a line in [ ], since a CID may hold a '\r'
//   host_probe --writable PATH  IsFileOrDirWritable and the errno it leaves: "<0|1> <errno>"
//   host_probe --uname-fails    getHostName, getMachineDetails and [GetOS_Name], one a line,
//                               with every uname() call failing (a seccomp filter)
//   host_probe --rename-race    run in a UTS namespace of its own: three threads ask while a
//                               fourth renames the host back and forth; prints the number of
//                               answers and of those that fit neither name
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "GeneralUtils.h"

using namespace GeneralUtils;

namespace {

// From here on uname() fails with EPERM in this process.
bool failUname() {
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_uname, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  sock_fprog program = {sizeof(filter) / sizeof(filter[0]), filter};
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

struct Answer {
  unsigned short details;
  std::string fingerprint, host, machine;
};

Answer ask() {
  return {getMachineDetailsHash(), GetSystemFingerprint(), getHostName(), getMachineDetails()};
}

void renameRace() {
  const std::string names[2] = {"alpha", "a-much-longer-name-for-beta"};
  const auto rename = [&names](int i) { ::sethostname(names[i].data(), names[i].size()); };
  Answer expected[2];
  for (int i = 0; i < 2; ++i) {
    rename(i);
    expected[i] = ask();
  }
  std::atomic<int> running(3);
  std::atomic<long> answers(0), torn(0);
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    for (int i = 0; running > 0; ++i) rename(i & 1);
  });
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        const Answer a = ask();
        // Each part may come from another moment, but never from a mix of two names.
        const bool fits = (a.details == expected[0].details || a.details == expected[1].details) &&
                          (a.fingerprint == expected[0].fingerprint ||
                           a.fingerprint == expected[1].fingerprint) &&
                          (a.host == names[0] || a.host == names[1]) &&
                          (a.machine == names[0] || a.machine == names[1]);
        ++answers;
        torn += !fits;
      }
      --running;
    });
  }
  for (std::thread& t : threads) t.join();
  printf("answers=%ld torn=%ld\n", answers.load(), torn.load());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--uname-fails") {
    if (!failUname()) return 3;
    printf("%s\n%s\n[%s]\n", getHostName(), getMachineDetails(), GetOS_Name().c_str());
  } else if (mode == "--rename-race") {
    renameRace();
  } else if (mode == "--writable" && argc > 2) {
    const bool writable = IsFileOrDirWritable(argv[2]);
    printf("%d %d\n", writable ? 1 : 0, errno);
  } else if (mode == "--exe") {
    printf("[%s]\n[%s]\n[%s]\n", GetExeDir().c_str(), getCidFilePath().c_str(),
           GetCidFromFile(argc > 2 ? argv[2] : "").c_str());
  } else if (mode == "--race") {
    std::atomic<int> waiting(8);
    std::thread threads[8];
    for (std::thread& t : threads) {
      t = std::thread([&waiting] {
        // Nobody starts before all are running, so the first calls really overlap.
        for (--waiting; waiting.load() > 0;) std::this_thread::yield();
        const char* host = getHostName();
        const char* fingerprint = GetSystemFingerprintCStr();
        printf("%p %s %p %s\n", static_cast<const void*>(fingerprint), fingerprint,
               static_cast<const void*>(host), host);
      });
    }
    for (std::thread& t : threads) t.join();
  } else {
    printf("mac=%u host=%s details=%u fingerprint=%s\n", getMacHash(), getHostName(),
           getMachineDetailsHash(), GetSystemFingerprint().c_str());
  }
}
