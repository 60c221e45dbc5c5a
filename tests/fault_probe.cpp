// Runs one operation of the library that touches the system and prints its answer on a line,
// for fault_test, which runs it under the fault shim: the reason first for the report forms,
// then their out-parameters. An exception prints as "threw <what>".
//   fault_probe OPERATION [FILE...]
#include <cstdio>
#include <stdexcept>
#include <string>

#include "GeneralUtils.h"

using namespace GeneralUtils;

static string text(const string& s) { return s; }
static string text(long long n) { return std::to_string(n); }

// The parts are taken by reference, so they are read only once the first has been computed.
// No string stream: one would swallow std::bad_alloc.
template <typename... Parts>
static string joined(const Parts&... parts) {
  string all;
  ((all += text(parts) + ' '), ...);
  return all;
}

int main(int argc, char** argv) {
  string answer;
  try {
    const string op = argv[1], f = argc > 2 ? argv[2] : "", g = argc > 3 ? argv[3] : "";
    streamoff size = -1;
    bool same = true;
    string cid = "-", failed = "-";
    if (op == "size") answer = joined(fileSizeReport(f, size), size);
    if (op == "FileSize") answer = joined(FileSize(f));
    if (op == "compare") answer = joined(compareFilesReport(f, g, same, failed), same, failed);
    if (op == "copy") answer = joined(copyFileReport(f, g, failed), failed);
    if (op == "cid") answer = joined(cidFromFileReport(f, cid, failed), cid, failed);
    if (op == "paths") answer = joined(FileExists(f), DirectoryExists(f), IsFileOrDirWritable(f));
    if (op == "exedir") answer = joined('[' + GetExeDir() + ']');
    if (op == "cidPath") answer = joined(getCidFilePath());
    if (op == "os") answer = joined('[' + GetOS_Name() + ']');
    if (op == "host") answer = joined(getHostName());
    int withAddress = 0;  // the first two records with an address count, and no other: '!'
    for (const MacInterface& i : op == "interfaces" ? getMacInterfaces() : vector<MacInterface>()) {
      const bool counts = i.hasAddress && withAddress++ < 2;
      answer += joined(i.name, i.hasAddress, i.hash, i.counted);
      if (counts != i.counted || (!i.hasAddress && i.hash != 0)) answer += "! ";
    }
    if (op == "fingerprintCStr") {  // a first call that throws leaves the next one to compute
      try {
        GetSystemFingerprintCStr();
      } catch (const std::bad_alloc&) {
      }
      answer = joined(GetSystemFingerprintCStr());
    }
    int status = -1;
    if (op == "exec") answer = joined(execCommandReport(f.c_str(), cid, status), status, cid);
    if (op == "console") {  // a line, the rest of the next one dropped, and the third
      const string first = readLineToStdString(64);
      clean_stdin();
      char third[64];
      readLine(third, sizeof third);
      answer = joined('[' + first + ']', '[' + string(third) + ']');
    }
  } catch (const std::exception& e) {
    answer = string("threw ") + e.what();
  }
  std::printf("%s\n", answer.c_str());
}
