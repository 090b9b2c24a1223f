#ifndef EGRESS_TESTS_LAWS_NAIVE_CORE_H
#define EGRESS_TESTS_LAWS_NAIVE_CORE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"

// A simple, slow second implementation of the core: maps, copies, recursion, each rule on its own.
// It shares only the records, the words and the address parser with the real core.
namespace egress::test {

struct NaiveWalk {
  ActiveEndpointStatus status = ActiveEndpointStatus::OUTBOUND_NOT_FOUND;
  std::optional<std::size_t> leaf;  // index in the outbounds
  std::vector<std::string> visitedTags;
  std::string soughtTag;
};

NaiveWalk naiveWalk(const DiagnosisInput& input);

ActiveEndpointStatus naiveClassification(const Outbound& leaf);

EgressReport naiveReport(const DiagnosisInput& input);

}  // namespace egress::test

#endif
