// Console reads on this program's own standard input, run in the order its one argument
// names them:
//   line N   readLineToStdString(N), printed as [text]
//   raw N    readLine into max(N, 1) bytes prefilled with 'X', printed whole as {bytes} with
//            each NUL shown as \0
//   clean    clean_stdin, printed as <clean>
#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string>

#include "GeneralUtils.h"

int main(int argc, char** argv) {
  std::istringstream ops(argc > 1 ? argv[1] : "");
  int n = 0;
  for (std::string op; ops >> op;) {
    if (op == "clean") {
      GeneralUtils::clean_stdin();
      std::printf("<clean>\n");
    } else if (op == "line" && ops >> n) {
      std::printf("[%s]\n", GeneralUtils::readLineToStdString(n).c_str());
    } else if (op == "raw" && ops >> n) {
      std::string buffer(static_cast<size_t>(std::max(n, 1)), 'X');
      GeneralUtils::readLine(&buffer[0], n);
      std::printf("{");
      for (const char c : buffer) std::fputs(c == '\0' ? "\\0" : std::string(1, c).c_str(), stdout);
      std::printf("}\n");
    } else {
      return 2;
    }
  }
  return 0;
}
