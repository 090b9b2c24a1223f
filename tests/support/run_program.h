#ifndef EGRESS_TESTS_SUPPORT_RUN_PROGRAM_H
#define EGRESS_TESTS_SUPPORT_RUN_PROGRAM_H

#include <string>

namespace egress::test {

struct ProgramResult {
  int status = -1;  // exit status; -1 when the program did not exit by itself
  std::string output;
  std::string error;
};

// Runs a command of the POSIX shell and waits for it.
ProgramResult runProgram(const std::string& command);

}  // namespace egress::test

#endif
