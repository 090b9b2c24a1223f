#ifndef EGRESS_TESTS_LAWS_GENERATED_INPUT_H
#define EGRESS_TESTS_LAWS_GENERATED_INPUT_H

#include "egress/core/diagnosis_input.h"
#include "tests/laws/choices.h"

namespace egress::test {

// An outbound that the configuration reader can return, or rarely one with inconsistent fields,
// which only a caller can build.
Outbound generateOutbound(Choices& choices);

// Outbounds and selector answers with few distinct tags, so that walks of every kind occur.
void generateOutbounds(Choices& choices, DiagnosisInput& input);

// A whole input. Tags, indexes, addresses and ports come from small tables with limits and invalid
// texts, so that rows match, conflict and repeat.
DiagnosisInput generateInput(Choices& choices);

}  // namespace egress::test

#endif
