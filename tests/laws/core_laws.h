#ifndef EGRESS_TESTS_LAWS_CORE_LAWS_H
#define EGRESS_TESTS_LAWS_CORE_LAWS_H

#include <cstddef>
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

// The changes to an input that the report must not show: another order of sockets or of answers,
// other indexes, tags or ports, no rows in a failed snapshot; and a socket to elsewhere, which only
// "observedSocketSources" may show.
inline constexpr std::size_t kInputChanges = 7;

// Makes the change of this number, from 0; `choices` draws its details.
Complaint judgeChange(std::size_t number, const DiagnosisInput& input, Choices& choices);

// The report as text, for people.
std::string describe(const EgressReport& report);

}  // namespace egress::test

#endif
