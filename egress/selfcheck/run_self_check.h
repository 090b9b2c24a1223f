#ifndef EGRESS_SELFCHECK_RUN_SELF_CHECK_H
#define EGRESS_SELFCHECK_RUN_SELF_CHECK_H

#include <cstdio>

namespace egress {

// Runs all scenarios and the totality audits, and writes to `output` a line for each failure and at
// the end the summary line. Gives the exit status: 1 when anything failed, otherwise 0. Running out
// of memory is not caught.
[[nodiscard]] int runSelfCheck(std::FILE* output);

}  // namespace egress

#endif
