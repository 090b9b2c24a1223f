#ifndef EGRESS_TESTS_SUPPORT_RUN_PROGRAM_H
#define EGRESS_TESTS_SUPPORT_RUN_PROGRAM_H

#include <string>

namespace egress::test {

struct ProgramResult {
  int status = -1;  // exit status; -1 if a signal ended the program
  std::string output;
  std::string error;
};

// Runs a command in the POSIX shell and waits for it to end.
ProgramResult runProgram(const std::string& command);

}  // namespace egress::test

#endif
