#include "egress/selfcheck/run_self_check.h"

#include "egress/scenarios/scenarios.h"
#include "egress/selfcheck/check_recorder.h"
#include "egress/selfcheck/totality_audit.h"

namespace egress {

int runSelfCheck(std::FILE* output) {
  SelfCheckRun run;
  run.recorder.output = output;

  runConfigScenarios(run);
  runPolicyScenarios(run);
  runSelectorAndDetourScenarios(run);
  runEndpointScenarios(run);
  runSelectionScenarios(run);
  runInterfacesAndRoutesScenarios(run);
  runSelectorAnswerScenarios(run);
  runParseScenarios(run);

  // After the scenarios: it covers everything that they produced.
  auditAllTotalities(run);
  writeSummary(run.recorder);
  return run.recorder.failureCount != 0 ? 1 : 0;
}

}  // namespace egress
