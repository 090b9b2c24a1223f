#ifndef EGRESS_SELFCHECK_CHECK_RECORDER_H
#define EGRESS_SELFCHECK_CHECK_RECORDER_H

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace egress {

// The counters of one self-check run, and its output. The counters are independent: a failure may
// be recorded without a check, and one check may record several failures.
struct CheckRecorder {
  std::FILE* output = stdout;  // not owned
  std::int32_t checkCount = 0;
  std::int32_t failureCount = 0;
};

// Counts a failure, not a check, and immediately writes the line "FAIL " + label + ": " + message,
// without escaping.
void recordFailure(CheckRecorder& recorder, std::string_view label, std::string_view message);

// Counts a check, and a failure unless `condition` holds.
void recordCheck(CheckRecorder& recorder, bool condition, std::string_view label);

// Counts a check, and if the texts differ in any byte, a failure whose message holds both.
void checkEqual(CheckRecorder& recorder, std::string_view actual, std::string_view expected,
                std::string_view label);

// Writes the last line of a run: the verdict and both counts.
void writeSummary(const CheckRecorder& recorder);

}  // namespace egress

#endif
