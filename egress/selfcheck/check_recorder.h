#ifndef EGRESS_SELFCHECK_CHECK_RECORDER_H
#define EGRESS_SELFCHECK_CHECK_RECORDER_H

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace egress {

// What one run of the self-check counts, and where its lines go. The counters are independent: a
// failure may come without a check, and one check may bring several failures.
struct CheckRecorder {
  std::FILE* output = stdout;  // not owned
  std::int32_t checkCount = 0;
  std::int32_t failureCount = 0;
};

// Counts a failure, not a check, and writes the line "FAIL " + label + ": " + message at once. Both
// texts are written byte for byte.
void recordFailure(CheckRecorder& recorder, std::string_view label, std::string_view message);

// Counts a check, and a failure unless `condition` holds.
void recordCheck(CheckRecorder& recorder, bool condition, std::string_view label);

// Counts a check, and a failure that shows both texts unless they are the same bytes.
void checkEqual(CheckRecorder& recorder, std::string_view actual, std::string_view expected,
                std::string_view label);

// Writes the line that ends a run: the verdict and both counts.
void writeSummary(const CheckRecorder& recorder);

}  // namespace egress

#endif
