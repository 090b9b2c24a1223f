#ifndef EGRESS_FUZZ_FUZZ_TARGET_H
#define EGRESS_FUZZ_FUZZ_TARGET_H

#include <string_view>

#include "tests/laws/complaint.h"

namespace egress::fuzz {

// The one function of a fuzz target: holds its laws on any bytes. A complaint ends the process, so
// that the fuzzer keeps the bytes; see run_bytes.cpp.
test::Complaint judge(std::string_view bytes);

}  // namespace egress::fuzz

#endif
