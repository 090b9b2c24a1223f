#ifndef EGRESS_FUZZ_FUZZ_TARGET_H
#define EGRESS_FUZZ_FUZZ_TARGET_H

#include <string_view>

#include "tests/laws/complaint.h"

namespace egress::fuzz {

// Checks the laws of a fuzz target on `bytes` and returns the first violation. libfuzzer_entry.cpp
// then aborts, so that libFuzzer saves the bytes; replay_main.cpp prints the violation.
test::Complaint judge(std::string_view bytes);

}  // namespace egress::fuzz

#endif
