#ifndef EGRESS_TESTS_LAWS_CORE_LAWS_H
#define EGRESS_TESTS_LAWS_CORE_LAWS_H

#include <cstddef>
#include <string>

#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"
#include "tests/laws/choices.h"
#include "tests/laws/violation.h"

namespace egress::test {

// resolveActiveOutbound gives the same result as the naive core.
Violation checkResolution(const DiagnosisInput& input);

// classifyEndpoint gives the same status as the naive core, and writes address and port only on OK.
Violation checkClassification(const Outbound& leaf);

// The report equals that of the naive core, has the documented members, and contains only declared
// words.
Violation checkReport(const DiagnosisInput& input);

// Changes of an input that must not change the report: another order of sockets or answers, other
// indexes, tags or ports, no rows in a failed snapshot; and an additional unrelated socket, which
// may change only "observedSocketSources".
inline constexpr std::size_t kInputChanges = 7;

// Applies change `number`, counted from 0, with details from `choices`.
Violation checkChange(std::size_t number, const DiagnosisInput& input, Choices& choices);

// The report as readable text.
std::string describe(const EgressReport& report);

}  // namespace egress::test

#endif
