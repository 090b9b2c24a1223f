#ifndef EGRESS_BENCH_WORKLOADS_H
#define EGRESS_BENCH_WORKLOADS_H

#include <string>

namespace egress::bench {

// Registers every contender of every workload with Google Benchmark as "workload/contender", and
// the version of every library that is compared with as context. Whole processes are timed only if
// `selfcheckProgram` names one. Throws std::runtime_error when a contender's result differs from
// this library's.
void registerWorkloads(const std::string& selfcheckProgram);

}  // namespace egress::bench

#endif
