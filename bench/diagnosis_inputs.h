#ifndef EGRESS_BENCH_DIAGNOSIS_INPUTS_H
#define EGRESS_BENCH_DIAGNOSIS_INPUTS_H

#include <cstddef>

#include "egress/core/diagnosis_input.h"

namespace egress::bench {

// A host with that many sockets and adapters, four addresses an adapter, of both families. Most
// sockets go to the endpoint of the one outbound, the others to other addresses, some of them to
// the same port. Every socket leaves from an address of some adapter, but for a few.
DiagnosisInput makeDiagnosisInput(std::size_t sockets, std::size_t adapters);

// Parses every text once that a diagnosis of such an input has to know and touches every row: what
// no diagnosis can do without. Gives a number that depends on all of it.
std::size_t touchEveryRow(const DiagnosisInput& input);

}  // namespace egress::bench

#endif
