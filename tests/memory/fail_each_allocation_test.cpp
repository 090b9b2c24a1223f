// Tests of the test tools with calls that are wrong on purpose: a tool that detects nothing would
// let all other tests pass.
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

constexpr std::align_val_t kAlignment{64};

void nothing() {}

// Stores allocated pointers, so that the compiler does not elide the allocations.
std::array<void*, 3>& pointers() {
  static std::array<void*, 3> blocks{};
  return blocks;
}

// Checks that one form of new and its delete are counted.
template <typename Allocate, typename Release>
void expectCounted(Allocate allocate, Release release) {
  const std::ptrdiff_t aliveBefore = allocationsAlive();
  EXPECT_EQ(allocationsOf([&] { pointers()[0] = allocate(); }), 1U);
  EXPECT_EQ(allocationsAlive(), aliveBefore + 1);
  release(pointers()[0]);
  EXPECT_EQ(allocationsAlive(), aliveBefore);
}

TEST(FailingAllocations, CountsEveryForm) {
  expectCounted([] { return operator new(8); }, [](void* block) { operator delete(block); });
  expectCounted([] { return operator new[](8); }, [](void* block) { operator delete[](block); });
  expectCounted([] { return operator new(8, std::nothrow); },
                [](void* block) { operator delete(block, std::nothrow); });
  expectCounted([] { return operator new[](8, std::nothrow); },
                [](void* block) { operator delete[](block, std::nothrow); });
  expectCounted([] { return operator new(8, kAlignment); },
                [](void* block) { operator delete(block, kAlignment); });
  expectCounted([] { return operator new[](8, kAlignment); },
                [](void* block) { operator delete[](block, kAlignment); });
  expectCounted([] { return operator new(8, kAlignment, std::nothrow); },
                [](void* block) { operator delete(block, kAlignment, std::nothrow); });
  expectCounted([] { return operator new[](8, kAlignment, std::nothrow); },
                [](void* block) { operator delete[](block, kAlignment, std::nothrow); });
}

// g++ calls sized delete for a known type; clang only with -fsized-deallocation.
TEST(FailingAllocations, CountsObjectsOfAKnownType) {
  expectCounted([] { return new int; }, [](void* block) { delete static_cast<int*>(block); });
  expectCounted([] { return new std::string[1]; },
                [](void* block) { delete[] static_cast<std::string*>(block); });
  expectCounted([] { return new Aligned; },
                [](void* block) { delete static_cast<Aligned*>(block); });
  expectCounted([] { return new AlignedText[1]; },
                [](void* block) { delete[] static_cast<AlignedText*>(block); });
}

TEST(FailingAllocations, OnlyTheRequestedAllocationFails) {
  failAllocation(2);
  pointers()[0] = operator new(8, std::nothrow);
  pointers()[1] = operator new(8, std::nothrow);
  pointers()[2] = operator new(8, std::nothrow);
  EXPECT_TRUE(stopFailing());
  EXPECT_NE(pointers()[0], nullptr);
  EXPECT_EQ(pointers()[1], nullptr);
  EXPECT_NE(pointers()[2], nullptr);
  for (void* const block : pointers()) operator delete(block);
}

TEST(FailingAllocations, ReportsThatTheAllocationWasNotReached) {
  failAllocation(2);
  const auto only = std::make_unique<Aligned>();
  EXPECT_FALSE(stopFailing());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(only.get()) % alignof(Aligned), 0U);
}

TEST(FailEachAllocation, ChecksAfterEachFailure) {
  std::size_t checks = 0;
  const auto threeAllocations = [] {
    const auto first = std::make_unique<Aligned>();
    std::string second(100, 'x');
    std::vector<int> third(100);
    pointers() = {first.get(), second.data(), third.data()};
  };
  EXPECT_EQ(failEachAllocation(threeAllocations, [&checks] { ++checks; }), 3U);
  EXPECT_EQ(checks, 3U);
}

TEST(FailEachAllocation, DetectsASwallowedFailure) {
  const auto swallows = [] {
    const std::unique_ptr<int> block(new (std::nothrow) int(1));
    pointers()[0] = block.get();
  };
  EXPECT_NONFATAL_FAILURE(failEachAllocation(swallows, nothing), "no exception");
}

TEST(FailEachAllocation, DetectsAnotherException) {
  const auto translates = [] {
    const std::unique_ptr<int> block(new (std::nothrow) int(1));
    if (block == nullptr) throw std::runtime_error("no memory");
    pointers()[0] = block.get();
  };
  EXPECT_NONFATAL_FAILURE(failEachAllocation(translates, nothing), "another exception");
}

TEST(FailEachAllocation, DetectsALeak) {
  pointers()[0] = nullptr;
  const auto leaks = [] {
    if (pointers()[0] == nullptr) pointers()[0] = operator new(8);
    const auto second = std::make_unique<int>(1);
    pointers()[1] = second.get();
  };
  EXPECT_NONFATAL_FAILURE(failEachAllocation(leaks, nothing), "run.leftAlive");
  operator delete(pointers()[0]);
}

TEST(FailEachAllocation, DetectsAnExceptionWithoutAFailure) {
  EXPECT_NONFATAL_FAILURE(failEachAllocation([] { throw std::bad_alloc(); }, nothing), "bad_alloc");
}

}  // namespace
}  // namespace egress::test
