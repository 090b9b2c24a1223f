#ifndef EGRESS_BENCH_ROUNDS_H
#define EGRESS_BENCH_ROUNDS_H

#include <cstddef>
#include <iosfwd>

#include "bench/workloads.h"

namespace egress::bench {

// Times every contender of every workload once in every round, so that what changes on the machine
// meanwhile changes for all of them. Writes one line for each, as CSV.
void timeRounds(const std::vector<Workload>& workloads, std::size_t rounds, std::ostream& csv);

}  // namespace egress::bench

#endif
