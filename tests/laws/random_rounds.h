#ifndef EGRESS_TESTS_LAWS_RANDOM_ROUNDS_H
#define EGRESS_TESTS_LAWS_RANDOM_ROUNDS_H

#include <cstddef>
#include <functional>
#include <string_view>

#include "tests/laws/complaint.h"

namespace egress::test {

// Holds a law on `rounds` strings of up to `maxBytes` random bytes and fails the running test at
// the first complaint, with the bytes that led to it. Prints the seed and the number of rounds.
//
// EGRESS_LAWS_EFFORT=N makes it N times as many rounds, EGRESS_LAWS_SEED=N others.
void holdOnRandomBytes(std::size_t rounds, std::size_t maxBytes,
                       const std::function<Complaint(std::string_view)>& law);

}  // namespace egress::test

#endif
