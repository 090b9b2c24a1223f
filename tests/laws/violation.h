#ifndef EGRESS_TESTS_LAWS_VIOLATION_H
#define EGRESS_TESTS_LAWS_VIOLATION_H

#include <string>
#include <string_view>

namespace egress::test {

// How a value violates a law, or an empty text if the law holds. Tests and fuzzers share the laws:
// on a violation, a test fails and a fuzzer aborts.
using Violation = std::string;

// Two hexadecimal digits per byte.
std::string hexOf(std::string_view bytes);

}  // namespace egress::test

#endif
