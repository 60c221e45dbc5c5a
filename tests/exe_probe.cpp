// Prints what a program sees of its own place, for cid_test, which runs copies of it from temp
// directories: GetExeDir, getCidFilePath and GetCidFromFile(argv[1] or ""), each on a line in
// [ ], since a CID may hold a '\r'.
#include <cstdio>

#include "GeneralUtils.h"

int main(int argc, char** argv) {
  using namespace GeneralUtils;
  std::printf("[%s]\n[%s]\n[%s]\n", GetExeDir().c_str(), getCidFilePath().c_str(),
              GetCidFromFile(argc > 1 ? argv[1] : "").c_str());
}
