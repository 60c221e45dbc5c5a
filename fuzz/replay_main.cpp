// Stands in for libFuzzer where it is missing: runs every file named on the command line, or
// found in a directory named there, through LLVMFuzzerTestOneInput once. Flags ("-runs=0")
// are ignored so that ctest can pass the same arguments to either build.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

int main(int argc, char** argv) {
  std::vector<fs::path> inputs;
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;
    if (!fs::is_directory(argv[i])) {
      inputs.emplace_back(argv[i]);
      continue;
    }
    for (const fs::directory_entry& e : fs::directory_iterator(argv[i])) {
      if (e.is_regular_file()) inputs.push_back(e.path());
    }
  }
  // A replay of nothing would pass whatever the code does.
  if (inputs.empty()) {
    std::fprintf(stderr, "replay: no inputs\n");
    return 2;
  }
  for (const fs::path& p : inputs) {
    std::ifstream in(p, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "replay: cannot read %s\n", p.c_str());
      return 2;
    }
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::fprintf(stderr, "replay: %s\n", p.c_str());
    // A fresh copy, so that a read past the end hits the heap redzone under ASan.
    const std::vector<uint8_t> data(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
  }
  std::fprintf(stderr, "replay: %zu inputs passed\n", inputs.size());
  return 0;
}
