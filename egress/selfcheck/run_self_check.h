#ifndef EGRESS_SELFCHECK_RUN_SELF_CHECK_H
#define EGRESS_SELFCHECK_RUN_SELF_CHECK_H

#include <cstdio>

namespace egress {

// Runs all scenarios and the totality audits. Writes a line for each failure to `output`, then the
// summary line. Returns the exit status: 1 if anything failed, otherwise 0. std::bad_alloc is not
// caught.
[[nodiscard]] int runSelfCheck(std::FILE* output);

}  // namespace egress

#endif
