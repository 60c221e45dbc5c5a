// Shared by the fuzz targets: a property that fails stops the run where libFuzzer sees it.
#ifndef GENERALUTILS_FUZZ_CHECK_H
#define GENERALUTILS_FUZZ_CHECK_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// abort() rather than a return code: libFuzzer keeps the input that crashes, and the replay
// runner dies with the file it was on as the last name printed.
#define FUZZ_CHECK(cond)                                                               \
  do {                                                                                 \
    if (!(cond)) {                                                                     \
      std::fprintf(stderr, "%s:%d: property failed: %s\n", __FILE__, __LINE__, #cond); \
      std::abort();                                                                    \
    }                                                                                  \
  } while (0)

inline std::string fuzzText(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

#endif  // GENERALUTILS_FUZZ_CHECK_H
