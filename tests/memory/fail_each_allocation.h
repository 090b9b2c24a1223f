#ifndef EGRESS_TESTS_MEMORY_FAIL_EACH_ALLOCATION_H
#define EGRESS_TESTS_MEMORY_FAIL_EACH_ALLOCATION_H

#include <cstddef>
#include <functional>

namespace egress::test {

// Runs `call` repeatedly and lets its first allocation fail, then its second, and so on, until a
// run completes without the failure. Each failed run must throw std::bad_alloc and must not leak;
// after it, `check` verifies that the arguments of `call` are unchanged. Returns and prints the
// number of failed runs.
std::size_t failEachAllocation(const std::function<void()>& call,
                               const std::function<void()>& check);

// The number of allocations of one run without failures.
std::size_t allocationsOf(const std::function<void()>& call);

}  // namespace egress::test

#endif
