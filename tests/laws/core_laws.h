#ifndef EGRESS_TESTS_LAWS_CORE_LAWS_H
#define EGRESS_TESTS_LAWS_CORE_LAWS_H

#include <string>

#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"
#include "tests/laws/choices.h"
#include "tests/laws/complaint.h"

namespace egress::test {

// The walk ends as the naive one does, at the same leaf and by the same way.
Complaint judgeResolution(const DiagnosisInput& input);

// The leaf is judged as by the decision table; address and port are written on OK alone.
Complaint judgeClassification(const Outbound& leaf);

// The report is the naive core's, shaped as documented, and every string in it a declared word.
Complaint judgeReport(const DiagnosisInput& input);

// Changes to the input that the report must not show, or only where it may. `choices` draws them.
Complaint judgeChangedInputs(const DiagnosisInput& input, Choices& choices);

// The report as text, for people.
std::string describe(const EgressReport& report);

}  // namespace egress::test

#endif
