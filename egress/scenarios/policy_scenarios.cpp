#include <array>

#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/fixtures.h"
#include "egress/selfcheck/report_check.h"

namespace egress {
namespace {

constexpr auto kOsRoutedChecks = std::to_array<ReportCheck>({
    {.label = "policy/os-routed policy",
     .key = "egressSelectionPolicy",
     .expected = IsWord{"os_routed"}},
    {.label = "policy/os-routed selectionStatus",
     .key = "selectionStatus",
     .expected = IsWord{"NOT_APPLICABLE_OS_ROUTED"}},
    {.label = "policy/os-routed ordinal null",
     .key = "selectedInterfaceOrdinal",
     .expected = IsNull{}},
    {.label = "policy/os-routed observedSocketSources present",
     .key = "observedSocketSources",
     .expected = HasRows{1}},
});

}  // namespace

void runPolicyScenarios(SelfCheckRun& run) {
  DiagnosisInput input = makeDefaultInput(/*autoDetectInterface=*/false);
  input.sockets.rows.push_back(makeSocketSource("10.0.0.7", 51000, "198.51.100.10", 443));
  const EgressReport report = diagnoseAndAudit(run, "policy/os-routed", input);
  for (const ReportCheck& check : kOsRoutedChecks) checkReport(run.recorder, report, check);
}

}  // namespace egress
