#ifndef EGRESS_TESTS_LAWS_NAIVE_CORE_H
#define EGRESS_TESTS_LAWS_NAIVE_CORE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "egress/core/diagnosis_input.h"
#include "egress/core/egress_report.h"

// The core a second time, as plain as it can be written and as slow as that makes it: maps, copies,
// recursion, every rule on its own. It shares with the real one only the records, the words and the
// address parser, which have laws of their own.
namespace egress::test {

struct NaiveWalk {
  ActiveEndpointStatus status = ActiveEndpointStatus::OUTBOUND_NOT_FOUND;
  std::optional<std::size_t> leaf;  // position among the outbounds
  std::vector<std::string> visitedTags;
  std::string soughtTag;
};

NaiveWalk naiveWalk(const DiagnosisInput& input);

ActiveEndpointStatus naiveClassification(const Outbound& leaf);

EgressReport naiveReport(const DiagnosisInput& input);

}  // namespace egress::test

#endif
