#ifndef EGRESS_SCENARIOS_SCENARIOS_H
#define EGRESS_SCENARIOS_SCENARIOS_H

#include "egress/selfcheck/totality_audit.h"

namespace egress {

// The groups of the built-in catalogue, in running order. Each makes its checks in a fixed order
// and continues after a failure. Most labels are the scenario's name ("group/case") and what is
// checked.

void runConfigScenarios(SelfCheckRun& run);               // "parse/ok", "config/"
void runPolicyScenarios(SelfCheckRun& run);               // "policy/"
void runSelectorAndDetourScenarios(SelfCheckRun& run);    // "selector/", "detour/", "leaf/"
void runEndpointScenarios(SelfCheckRun& run);             // "endpoint/"
void runSelectionScenarios(SelfCheckRun& run);            // "selection/"
void runInterfacesAndRoutesScenarios(SelfCheckRun& run);  // "interfaces/", "routes/"
void runSelectorAnswerScenarios(SelfCheckRun& run);       // "response/"
void runParseScenarios(SelfCheckRun& run);  // "parse/hopping", "parse/transport", "parse/bad-port"

}  // namespace egress

#endif
