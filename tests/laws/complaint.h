#ifndef EGRESS_TESTS_LAWS_COMPLAINT_H
#define EGRESS_TESTS_LAWS_COMPLAINT_H

#include <string>
#include <string_view>

namespace egress::test {

// What a law says of one value: what is broken, or an empty text when the law holds. The tests and
// the fuzzers share the laws; a test makes a complaint its failure, a fuzzer its crash.
using Complaint = std::string;

// Two hexadecimal digits a byte.
std::string hexOf(std::string_view bytes);

}  // namespace egress::test

#endif
