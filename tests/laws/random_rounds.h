#ifndef EGRESS_TESTS_LAWS_RANDOM_ROUNDS_H
#define EGRESS_TESTS_LAWS_RANDOM_ROUNDS_H

#include <cstddef>
#include <functional>
#include <string_view>

#include "tests/laws/violation.h"

namespace egress::test {

// Checks a law on `rounds` strings of up to `maxBytes` random bytes. Fails the running test at the
// first violation, with the bytes. Prints the seed and the number of rounds.
//
// EGRESS_LAWS_EFFORT=N multiplies the number of rounds, EGRESS_LAWS_SEED=N sets the seed.
void checkOnRandomBytes(std::size_t rounds, std::size_t maxBytes,
                        const std::function<Violation(std::string_view)>& law);

}  // namespace egress::test

#endif
