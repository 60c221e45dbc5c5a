// Console reads on this program's own standard input, one for each argument, in order:
//   lN   readLineToStdString(N), printed as [text]
//   rN   readLine into N > 0 bytes prefilled with 'X', all of them printed as {bytes}
//   c    clean_stdin, printing nothing
//   s    from here on SIGUSR1 interrupts a read (no SA_RESTART), and prints '!' at once
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "GeneralUtils.h"

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const int n = std::atoi(argv[i] + 1);
    if (argv[i][0] == 's') {
      struct sigaction action = {};
      action.sa_handler = [](int) { (void)!::write(STDOUT_FILENO, "!", 1); };
      ::sigaction(SIGUSR1, &action, nullptr);
    }
    if (argv[i][0] == 'c') GeneralUtils::clean_stdin();
    if (argv[i][0] == 'l') std::cout << '[' << GeneralUtils::readLineToStdString(n) << "]\n";
    if (argv[i][0] != 'r') continue;
    std::string buffer(static_cast<size_t>(n), 'X');
    GeneralUtils::readLine(&buffer[0], n);
    std::cout << '{' << buffer << "}\n";
  }
}
