#ifndef EGRESS_TESTS_MEMORY_FAILING_ALLOCATIONS_H
#define EGRESS_TESTS_MEMORY_FAILING_ALLOCATIONS_H

#include <cstddef>

namespace egress::test {

// failing_allocations.cpp replaces all forms of operators new and delete by versions that count
// allocations and fail on request. All state is per thread.

// The number of allocations so far, including failed ones.
[[nodiscard]] std::size_t allocationsMade() noexcept;

// The number of allocations not yet released.
[[nodiscard]] std::ptrdiff_t allocationsAlive() noexcept;

// Lets only the n-th allocation from now fail, counted from 1: it throws std::bad_alloc, or returns
// null in the nothrow forms.
void failAllocation(std::size_t number) noexcept;

// Ends failAllocation. Returns whether the n-th allocation was reached.
bool stopFailing() noexcept;

}  // namespace egress::test

#endif
