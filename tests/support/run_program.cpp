#include "tests/support/run_program.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sys/wait.h>

#include <gtest/gtest.h>

namespace egress::test {
namespace {

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

ProgramResult runProgram(const std::string& command) {
  // Named after the test, because tests run in parallel.
  const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
  const std::string base =
      std::string(EGRESS_TEST_OUTPUT_DIR "/") + test->test_suite_name() + "." + test->name();
  const std::string outputPath = base + ".out";
  const std::string errorPath = base + ".err";
  const int raw =
      std::system(("(" + command + ") >'" + outputPath + "' 2>'" + errorPath + "'").c_str());
  return {.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1,
          .output = readFile(outputPath),
          .error = readFile(errorPath)};
}

}  // namespace egress::test
