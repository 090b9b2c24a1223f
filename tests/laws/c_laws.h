#ifndef EGRESS_TESTS_LAWS_C_LAWS_H
#define EGRESS_TESTS_LAWS_C_LAWS_H

#include <string_view>

#include "tests/laws/violation.h"

namespace egress::test {

// The C interface gives what the library in C++ gives, byte for byte, or refuses for the same
// reason.

// Any text as a snapshot.
Violation checkCSnapshot(std::string_view text);

// Any texts as a configuration and answers. A snapshot of them has a report.
Violation checkCConfig(std::string_view config, std::string_view answers);

// Any text as a word, as JSON, and as a configuration that may be faulty.
Violation checkCText(std::string_view text);

}  // namespace egress::test

#endif
