// Reports what this process sees of its host, for host_test, paths_test and cid_test. Run
// under unshare, it sees the interfaces, node name and mounts that its caller set up.
//   host_probe                  mac=, host=, details= and fingerprint=, on one line
//   host_probe --race           eight threads collide on the first calls of getHostName and
//                               GetSystemFingerprintCStr (only a fresh process has first
//                               calls); each prints "<fingerprint at> <text> <host at> <text>"
//   host_probe --exe [DIR]      GetExeDir, getCidFilePath and GetCidFromFile(DIR or ""), each
//                               on a line in [ ], since a CID may hold a '\r'
//   host_probe --writable PATH  IsFileOrDirWritable and the errno it leaves: "<0|1> <errno>"
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "GeneralUtils.h"

using namespace GeneralUtils;

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--writable" && argc > 2) {
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
