#ifndef EGRESS_BENCH_WHOLE_PROCESS_H
#define EGRESS_BENCH_WHOLE_PROCESS_H

#include <string>

namespace egress::bench {

// Starts a program without arguments and without output, waits for its end and gives its exit
// status, or -1 when it did not start or did not end by itself.
int runWholeProcess(const std::string& program);

}  // namespace egress::bench

#endif
