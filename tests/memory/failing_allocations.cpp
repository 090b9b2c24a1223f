#include "tests/memory/failing_allocations.h"

#include <cstdlib>
#include <new>

namespace egress::test {
namespace {

struct Tally {
  std::size_t made = 0;
  std::ptrdiff_t alive = 0;
  std::size_t untilFailure = 0;  // 1: the next allocation fails; 0: none does
  bool failed = false;
};

// Never allocates itself: it is set up with the thread.
constinit thread_local Tally tally;

bool mayAllocate() noexcept {
  ++tally.made;
  if (tally.untilFailure == 0) return true;
  --tally.untilFailure;
  if (tally.untilFailure > 0) return true;
  tally.failed = true;
  return false;
}

void* counted(void* block) noexcept {
  if (block != nullptr) ++tally.alive;
  return block;
}

// Memory comes from malloc, which sanitizers watch too. Null when there is none.
void* allocate(std::size_t size) noexcept {
  if (!mayAllocate()) return nullptr;
  return counted(std::malloc(size == 0 ? 1 : size));
}

void* allocate(std::size_t size, std::align_val_t alignment) noexcept {
  if (!mayAllocate()) return nullptr;
  const auto unit = static_cast<std::size_t>(alignment);
  const std::size_t units = size == 0 ? 1 : size / unit + (size % unit == 0 ? 0 : 1);
  return counted(std::aligned_alloc(unit, units * unit));
}

void* orThrow(void* block) {
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) return;
  --tally.alive;
  std::free(block);
}

}  // namespace

std::size_t allocationsMade() noexcept {
  return tally.made;
}

std::ptrdiff_t allocationsAlive() noexcept {
  return tally.alive;
}

void failAllocation(std::size_t number) noexcept {
  tally.untilFailure = number;
  tally.failed = false;
}

bool stopFailing() noexcept {
  tally.untilFailure = 0;
  return tally.failed;
}

}  // namespace egress::test

// All forms: one that were left to a sanitizer's runtime would not fit the others.

using egress::test::allocate;
using egress::test::orThrow;
using egress::test::release;

void* operator new(std::size_t size) {
  return orThrow(allocate(size));
}

void* operator new[](std::size_t size) {
  return orThrow(allocate(size));
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  return orThrow(allocate(size, alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
  return orThrow(allocate(size, alignment));
}

void* operator new(std::size_t size, std::align_val_t alignment,
                   const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment,
                     const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size, alignment);
}

void operator delete(void* block) noexcept {
  release(block);
}

void operator delete[](void* block) noexcept {
  release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept {
  release(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/,
                     const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/,
                       const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}
