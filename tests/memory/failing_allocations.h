#ifndef EGRESS_TESTS_MEMORY_FAILING_ALLOCATIONS_H
#define EGRESS_TESTS_MEMORY_FAILING_ALLOCATIONS_H

#include <cstddef>

namespace egress::test {

// A program that links failing_allocations.cpp has its operators new and delete replaced, in every
// form, by ones that count and that fail when they are told to. Everything here is about the
// calling thread alone.

// How many allocations were made so far, failed ones included.
[[nodiscard]] std::size_t allocationsMade() noexcept;

// How many of them have not been released.
[[nodiscard]] std::ptrdiff_t allocationsAlive() noexcept;

// Lets the n-th allocation from now on fail, counted from 1: with std::bad_alloc, or with a null
// pointer where the caller asked for one. Those before and behind it succeed.
void failAllocation(std::size_t number) noexcept;

// No allocation fails any more. Returns whether the one to fail was reached.
bool stopFailing() noexcept;

}  // namespace egress::test

#endif
