// Reports what this process sees of its host, for host_test and cid_test. Run
// under unshare, it sees the interfaces, node name and mounts that its caller set up.
//   host_probe                  mac=, host=, details= and fingerprint=, on one line
//   host_probe --exe [DIR]      GetExeDir, getCidFilePath and GetCidFromFile(DIR or ""), each
//                               on a line in [ ], since a CID may hold a '\r'
//   host_probe --uname-fails    getHostName, getMachineDetails and [GetOS_Name], one a line,
//                               with every uname() call failing (a seccomp filter)
//   host_probe --rename-race    run in a UTS namespace of its own: three threads ask while the
//                               main one renames the host back and forth; prints how many
//                               answers fit neither name
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <stddef.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <set>
#include <thread>

#include "GeneralUtils.h"

using namespace GeneralUtils;

// From here on uname() fails with EPERM in this process.
static bool failUname() {
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

// One answer of each kind; every part has to be the one for a single name.
static std::vector<std::string> ask() {
  return {std::to_string(getMachineDetailsHash()), GetSystemFingerprint(), getHostName(),
          getMachineDetails()};
}

static void renameRace() {
  const std::string names[2] = {"alpha", "a-much-longer-name-for-beta"};
  std::set<std::string> fits;
  for (const std::string& name : names) {
    ::sethostname(name.data(), name.size());
    for (const std::string& part : ask()) fits.insert(part);
  }
  std::atomic<long> torn(0), done(0);
  std::vector<std::thread> askers;
  for (int t = 0; t < 3; ++t) {
    askers.emplace_back([&] {
      for (int i = 0; i < 2000; ++i)
        for (const std::string& part : ask()) torn += fits.count(part) == 0;
      ++done;
    });
  }
  // Renames go on until the last answer, so every answer races with one.
  for (int i = 0; done < 3; ++i) ::sethostname(names[i & 1].data(), names[i & 1].size());
  for (std::thread& t : askers) t.join();
  printf("torn=%ld of 3 x 2000 answers\n", torn.load());
}

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--uname-fails") {
    if (!failUname()) return 3;
    printf("%s\n%s\n[%s]\n", getHostName(), getMachineDetails(), GetOS_Name().c_str());
  } else if (mode == "--rename-race") {
    renameRace();
  } else if (mode == "--exe") {
    printf("[%s]\n[%s]\n[%s]\n", GetExeDir().c_str(), getCidFilePath().c_str(),
           GetCidFromFile(argc > 2 ? argv[2] : "").c_str());
  } else {
    printf("mac=%u host=%s details=%u fingerprint=%s\n", getMacHash(), getHostName(),
           getMachineDetailsHash(), GetSystemFingerprint().c_str());
  }
}
