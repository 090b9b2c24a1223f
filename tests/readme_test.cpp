// Compares the output shown in README.md with the real one.

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "egress/core/diagnose_egress.h"
#include "egress/selfcheck/fixtures.h"
#include "egress_snapshot/report_json.h"
#include "tests/support/run_program.h"

namespace egress::test {
namespace {

std::string contentOf(const std::string& name) {
  std::ifstream file(EGRESS_SOURCE_DIR "/" + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

// The first code block of README.md in `language`.
std::string readmeBlock(const std::string& language) {
  const std::string text = contentOf("README.md");
  const std::string opening = "```" + language + "\n";
  const std::size_t start = text.find(opening);
  EXPECT_NE(start, std::string::npos) << language;
  const std::size_t first = start + opening.size();
  return text.substr(first, text.find("```", first) - first);
}

TEST(Readme, ShowsTheReportOfTheDefaultInputWithASecondSocketElsewhere) {
  DiagnosisInput input = makeDefaultInput(true);
  input.sockets.rows = {makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443),
                        makeSocketSource("192.168.1.50", 51001, "203.0.113.200", 443)};
  // Compared as text, because the order of members matters.
  EXPECT_EQ(snapshot::reportToJson(diagnoseEgress(input)),
            nlohmann::ordered_json::parse(readmeBlock("json")).dump(2));
}

TEST(Readme, ShowsTheOutputOfTheSelfCheck) {
  const ProgramResult result = runProgram("'" EGRESS_SELFCHECK_PROGRAM "'");
  EXPECT_EQ("$ scripts/selfcheck\n" + result.output, readmeBlock("console"));
}

TEST(Readme, ShowsTheEmbeddingExample) {
  EXPECT_EQ(readmeBlock("cpp"), contentOf("examples/embed/main.cpp"));
}

TEST(Readme, ShowsTheOutputOfTheEmbeddingExample) {
  const ProgramResult result = runProgram("'" EGRESS_EMBED_PROGRAM "'");
  EXPECT_EQ(result.output, readmeBlock("text"));
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.status, 0);
}

}  // namespace
}  // namespace egress::test
