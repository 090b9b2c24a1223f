// Gives up its rights as egress-report does and prints what is left of them.

#include <exception>
#include <fstream>
#include <iostream>
#include <sys/prctl.h>

#include "apps/report/rights.h"

int main() {
  try {
    egress::report::dropRights();
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 2;
  }
  std::cout << "Securebits:\t" << prctl(PR_GET_SECUREBITS) << '\n'
            << std::ifstream("/proc/self/status").rdbuf();
}
