#ifndef EGRESS_TESTS_LAWS_GENERATED_INPUT_H
#define EGRESS_TESTS_LAWS_GENERATED_INPUT_H

#include "egress/core/diagnosis_input.h"
#include "tests/laws/choices.h"

namespace egress::test {

// An outbound that the configuration reader could give, or (rarely) one whose fields contradict
// each other, as only a caller can build it.
Outbound generateOutbound(Choices& choices);

// Outbounds and selector answers whose tags meet, so that ways of every kind come up.
void generateOutbounds(Choices& choices, DiagnosisInput& input);

// A whole input. Tags, indexes, addresses and ports come from small stocks, the integers' limits
// and a few foreign texts among them, so that rows agree, contradict and repeat each other.
DiagnosisInput generateInput(Choices& choices);

}  // namespace egress::test

#endif
