#include "tests/memory/fail_each_allocation.h"

#include <iostream>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "tests/memory/failing_allocations.h"

namespace egress::test {
namespace {

struct Run {
  bool failureReached = false;
  std::string_view end;
  std::ptrdiff_t leftAlive = 0;
};

std::string_view endOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::bad_alloc&) {
    return "bad_alloc";
  } catch (...) {
    return "another exception";
  }
  return "no exception";
}

Run runWithFailure(const std::function<void()>& call, std::size_t number) {
  Run run;
  const std::ptrdiff_t aliveBefore = allocationsAlive();
  failAllocation(number);
  run.end = endOf(call);
  run.failureReached = stopFailing();
  run.leftAlive = allocationsAlive() - aliveBefore;
  return run;
}

}  // namespace

std::size_t failEachAllocation(const std::function<void()>& call,
                               const std::function<void()>& check) {
  for (std::size_t failures = 0;; ++failures) {
    SCOPED_TRACE("allocation " + std::to_string(failures + 1));
    const Run run = runWithFailure(call, failures + 1);
    if (!run.failureReached) {
      EXPECT_EQ(run.end, "no exception");
      std::cout << failures << " allocations, each failed once\n";
      return failures;
    }
    EXPECT_EQ(run.end, "bad_alloc");
    EXPECT_EQ(run.leftAlive, 0);
    check();
  }
}

std::size_t allocationsOf(const std::function<void()>& call) {
  const std::size_t madeBefore = allocationsMade();
  call();
  return allocationsMade() - madeBefore;
}

}  // namespace egress::test
