#include "egress/scenarios/scenarios.h"

#include <array>

#include <gtest/gtest.h>

#include "tests/support/captured_output.h"

namespace egress::test {
namespace {

struct Group {
  std::string_view name;
  void (*runGroup)(SelfCheckRun& run);
  std::int32_t checks;
  bool diagnoses;  // whether it runs diagnoses, which record words
};

// In execution order.
constexpr auto kGroups = std::to_array<Group>({
    {.name = "config", .runGroup = runConfigScenarios, .checks = 24, .diagnoses = true},
    {.name = "policy", .runGroup = runPolicyScenarios, .checks = 4, .diagnoses = true},
    {.name = "selector and detour",
     .runGroup = runSelectorAndDetourScenarios,
     .checks = 25,
     .diagnoses = true},
    {.name = "endpoint", .runGroup = runEndpointScenarios, .checks = 15, .diagnoses = true},
    {.name = "selection", .runGroup = runSelectionScenarios, .checks = 15, .diagnoses = true},
    {.name = "interfaces and routes",
     .runGroup = runInterfacesAndRoutesScenarios,
     .checks = 17,
     .diagnoses = true},
    {.name = "selector answers",
     .runGroup = runSelectorAnswerScenarios,
     .checks = 5,
     .diagnoses = false},
    {.name = "parse", .runGroup = runParseScenarios, .checks = 8, .diagnoses = false},
});

TEST(Scenarios, EachGroupPassesWithItsNumberOfChecks) {
  for (const Group& group : kGroups) {
    SCOPED_TRACE(group.name);
    const CapturedOutput output;
    SelfCheckRun run;
    run.recorder.output = output.stream();
    group.runGroup(run);
    EXPECT_EQ(run.recorder.checkCount, group.checks);
    EXPECT_EQ(run.recorder.failureCount, 0);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(!run.producedValues.empty(), group.diagnoses);
  }
}

}  // namespace
}  // namespace egress::test
