// The tools of these tests, held against calls that are wrong on purpose: a tool that notices
// nothing would pass every one of the others.
#include "tests/memory/fail_each_allocation.h"

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "tests/memory/failing_allocations.h"

namespace egress::test {
namespace {

struct alignas(64) Aligned {
  char byte = 0;
};

struct alignas(64) AlignedText {
  std::string text;
};

constexpr std::align_val_t kLine{64};

void nothing() {}

// What a call allocates stays visible here, so that no compiler leaves the allocation out.
std::array<void*, 3>& kept() {
  static std::array<void*, 3> blocks{};
  return blocks;
}

// Whether each form is counted, on both sides.
template <typename Allocate, typename Release>
void expectCounted(Allocate allocate, Release release) {
  const std::ptrdiff_t aliveBefore = allocationsAlive();
  EXPECT_EQ(allocationsOf([&] { kept()[0] = allocate(); }), 1U);
  EXPECT_EQ(allocationsAlive(), aliveBefore + 1);
  release(kept()[0]);
  EXPECT_EQ(allocationsAlive(), aliveBefore);
}

TEST(FailingAllocations, CountsEveryForm) {
  expectCounted([] { return operator new(8); }, [](void* block) { operator delete(block); });
  expectCounted([] { return operator new[](8); }, [](void* block) { operator delete[](block); });
  expectCounted([] { return operator new(8, std::nothrow); },
                [](void* block) { operator delete(block, std::nothrow); });
  expectCounted([] { return operator new[](8, std::nothrow); },
                [](void* block) { operator delete[](block, std::nothrow); });
  expectCounted([] { return operator new(8, kLine); },
                [](void* block) { operator delete(block, kLine); });
  expectCounted([] { return operator new[](8, kLine); },
                [](void* block) { operator delete[](block, kLine); });
  expectCounted([] { return operator new(8, kLine, std::nothrow); },
                [](void* block) { operator delete(block, kLine, std::nothrow); });
  expectCounted([] { return operator new[](8, kLine, std::nothrow); },
                [](void* block) { operator delete[](block, kLine, std::nothrow); });
}

// g++ hands the size over when it knows the type; clang does not, unless it is asked to.
TEST(FailingAllocations, CountsObjectsOfAKnownType) {
  expectCounted([] { return new int; }, [](void* block) { delete static_cast<int*>(block); });
  expectCounted([] { return new std::string[1]; },
                [](void* block) { delete[] static_cast<std::string*>(block); });
  expectCounted([] { return new Aligned; },
                [](void* block) { delete static_cast<Aligned*>(block); });
  expectCounted([] { return new AlignedText[1]; },
                [](void* block) { delete[] static_cast<AlignedText*>(block); });
}

TEST(FailingAllocations, FailsOnlyTheAllocationThatItWasToldTo) {
  failAllocation(2);
  kept()[0] = operator new(8, std::nothrow);
  kept()[1] = operator new(8, std::nothrow);
  kept()[2] = operator new(8, std::nothrow);
  EXPECT_TRUE(stopFailing());
  EXPECT_NE(kept()[0], nullptr);
  EXPECT_EQ(kept()[1], nullptr);
  EXPECT_NE(kept()[2], nullptr);
  for (void* const block : kept()) operator delete(block);
}

TEST(FailingAllocations, SaysWhenTheOneToFailWasNotReached) {
  failAllocation(2);
  const auto only = std::make_unique<Aligned>();
  EXPECT_FALSE(stopFailing());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(only.get()) % alignof(Aligned), 0U);
}

TEST(FailEachAllocation, CountsTheFailuresAndChecksAfterEach) {
  std::size_t checks = 0;
  const auto threeAllocations = [] {
    const auto first = std::make_unique<Aligned>();
    std::string second(100, 'x');
    std::vector<int> third(100);
    kept() = {first.get(), second.data(), third.data()};
  };
  EXPECT_EQ(failEachAllocation(threeAllocations, [&checks] { ++checks; }), 3U);
  EXPECT_EQ(checks, 3U);
}

TEST(FailEachAllocation, NoticesASwallowedFailure) {
  const auto swallows = [] {
    const std::unique_ptr<int> block(new (std::nothrow) int(1));
    kept()[0] = block.get();
  };
  EXPECT_NONFATAL_FAILURE(failEachAllocation(swallows, nothing), "no exception");
}

TEST(FailEachAllocation, NoticesAnotherException) {
  const auto translates = [] {
    const std::unique_ptr<int> block(new (std::nothrow) int(1));
    if (block == nullptr) throw std::runtime_error("no memory");
    kept()[0] = block.get();
  };
  EXPECT_NONFATAL_FAILURE(failEachAllocation(translates, nothing), "another exception");
}

TEST(FailEachAllocation, NoticesALeak) {
  kept()[0] = nullptr;
  const auto leaks = [] {
    if (kept()[0] == nullptr) kept()[0] = operator new(8);
    const auto second = std::make_unique<int>(1);
    kept()[1] = second.get();
  };
  EXPECT_NONFATAL_FAILURE(failEachAllocation(leaks, nothing), "run.leftAlive");
  operator delete(kept()[0]);
}

TEST(FailEachAllocation, NoticesAnExceptionThatNoFailureGave) {
  EXPECT_NONFATAL_FAILURE(failEachAllocation([] { throw std::bad_alloc(); }, nothing), "bad_alloc");
}

}  // namespace
}  // namespace egress::test
