#ifndef EGRESS_TESTS_MEMORY_FAIL_EACH_ALLOCATION_H
#define EGRESS_TESTS_MEMORY_FAIL_EACH_ALLOCATION_H

#include <cstddef>
#include <functional>

namespace egress::test {

// Runs `call` with its first allocation failing, then with its second one, and so on, until it ends
// without having come to the one that would fail. Each of the other runs must end with
// std::bad_alloc and must have released what it allocated; `check` then says whether everything
// that `call` was given is as it was before. Returns the number of these runs, and prints it.
std::size_t failEachAllocation(const std::function<void()>& call,
                               const std::function<void()>& check);

// The number of allocations of one run in which none fails.
std::size_t allocationsOf(const std::function<void()>& call);

}  // namespace egress::test

#endif
