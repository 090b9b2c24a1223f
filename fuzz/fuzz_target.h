#ifndef EGRESS_FUZZ_FUZZ_TARGET_H
#define EGRESS_FUZZ_FUZZ_TARGET_H

#include <string_view>

#include "tests/laws/violation.h"

namespace egress::fuzz {

// Checks the laws of a fuzz target on any bytes. On a violation, libfuzzer_entry.cpp aborts, so
// that libFuzzer saves the bytes; replay_main.cpp prints it.
test::Violation check(std::string_view bytes);

}  // namespace egress::fuzz

#endif
